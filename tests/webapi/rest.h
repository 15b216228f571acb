// The API below /rest/ over HTTP, and the shapes of its answers.
#pragma once

#include <map>

#include "service/people/keys.h"
#include "service/people/settings.h"
#include "tonvale/settings.h"
#include "webapi/api.h"
#include "webapi/served.h"

struct _xmlNode;

namespace tonvale_test {

// Shapes of answers, from the protocol's documentation. A shape is its name and its members:
// NAME:TYPE, or NAME:TYPE? for one that may be absent. Types: s text, i whole number, n number,
// b true or false, t moment, another shape, [TYPE] an array. A shape "A :B" has the members of B
// and its own. "value" is the text of its element in XML.
class Shapes {
  public:
    explicit Shapes(const std::string &text);

    // How a JSON value differs from a type, "" where it does not.
    std::string Wrong(const Json::Value &value, const std::string &type) const;

    // A value of a type from XML.
    Json::Value FromXml(const std::string &xml, const std::string &type) const;

  private:
    struct Member {
        std::string type;
        bool isOptional;
    };

    Json::Value ValueOf(const _xmlNode &node, const std::string &type) const;
    static Json::Value Scalar(const std::string &text, const std::string &type);

    std::map<std::string, std::map<std::string, Member>> shapes_;
};

class Rest : public Served, protected Api {
  protected:
    void SetUp() override;

    // "u=alice&p=KEY&v=1.16.1&c=test".
    std::string By(const std::string &user = "alice") const;
    // The answer to "ENDPOINT?PARAMETERS" of a user, as JSON.
    Json::Value AskRest(const std::string &query, const std::string &user = "alice") const;
    // The code of a refusal; -1 where the request succeeds.
    int FaultOf(const std::string &query, const std::string &user = "alice") const;

    std::map<std::string, std::string> keys_;  // of users
};

}  // namespace tonvale_test
