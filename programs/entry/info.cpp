// VARN.Tonvale.Info: who is logged in, and what there is for them.
#include "action.h"
#include "answers/kinds.h"
#include "tonvale/settings.h"

namespace tonvale_entry {

namespace {

struct Right {
    unsigned bit;
    const char *name;
};
constexpr Right kRights[] = {
    {RIGHT_USB, "usb"},   {RIGHT_STREAMING, "streaming"}, {RIGHT_PLAYLIST, "playlist"},
    {RIGHT_UPNP, "upnp"}, {RIGHT_EDITSONG, "editsong"},   {RIGHT_SHARING, "sharing"},
};

class Get : public Action {
  public:
    using Action::Action;

  protected:
    Json::Value Data() override {
        const uid_t uid = Asked().User().GetLoginUID();
        Json::Value data(Json::objectValue);
        data["version"] = TONVALE_VERSION;
        Json::Value &user = data["user"];
        user["uid"] = uid;
        user["name"] = Asked().User().GetLoginUserName();
        user["permissions"] = Json::Value(Json::arrayValue);
        for (const Right &right : kRights) {
            if ((Asked().Rights() & right.bit) != 0) {
                user["permissions"].append(right.name);
            }
        }
        Json::Value &library = data["library"];
        library["default"] = tonvale_answers::DefaultKind(uid);
        library["kinds"] = Json::Value(Json::arrayValue);
        for (const std::string &kind : tonvale_answers::BrowsableKinds(uid)) {
            library["kinds"].append(kind);
        }
        return data;
    }
};

constexpr Method kMethods[] = {{"get", Make<Get>}};

}  // namespace

const Api kInfoApi{"VARN.Tonvale.Info", kMethods};

}  // namespace tonvale_entry
