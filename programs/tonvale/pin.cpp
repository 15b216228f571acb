// Pins: the views that a user keeps on the start page.
#include <cstdio>
#include <map>
#include <memory>

#include "command.h"
#include "database.h"
#include "page_output.h"
#include "service/listening/pins.h"
#include "service/people/settings.h"
#include "varn/run_as.h"

namespace tonvale_cli {

namespace {

using tonvale_service::Pins;

struct PinOptions {
    std::string user = "admin";
    std::string type;
    std::string name;
    std::string id;
    std::vector<std::string> ids;
    std::map<std::string, std::string> criteria;
    int offset = 0;
    int limit = 0;  // 0: all
    bool json = false;
};

using Options = const PinOptions &;

int Limit(Options options) {
    return options.limit > 0 ? options.limit : -1;
}

// "album=Blue artist=Mitchell"
std::string CriteriaText(const Json::Value &criteria) {
    std::string text;
    if (criteria.isObject()) {
        for (const std::string &key : criteria.getMemberNames()) {
            const Json::Value &value = criteria[key];
            text += (text.empty() ? "" : " ") + key + "=" +
                    (value.isString() ? value.asString() : value.toStyledString());
        }
    }
    return text;
}

void List(Options options, Pins &pins) {
    const Json::Value data = pins.Page(options.offset, Limit(options));
    if (options.json) {
        PrintJson(data);
        return;
    }
    Table table({{"ID", true}, {"TYPE"}, {"NAME", false, true}, {"CRITERIA", false, true}});
    for (const Json::Value &pin : data["pins"]) {
        table.AddRow({pin["id"].asString(), pin["type"].asString(), pin["name"].asString(),
                      CriteriaText(pin["criteria"])});
    }
    PrintPage(table, options.offset, data["pins"].size(), data["total"].asInt64(), {"pin", "pins"});
}

void Add(Options options, Pins &pins) {
    Json::Value criteria(Json::objectValue);
    for (const auto &[key, value] : options.criteria) {
        criteria[key] = value;
    }
    Json::Value data(Json::objectValue);
    data["pin"] = pins.Add(options.type, criteria, options.name);
    if (options.json) {
        PrintJson(data);
    } else {
        std::printf("%s\n", data["pin"]["id"].asCString());
    }
}

void Remove(Options options, Pins &pins) {
    pins.Remove(options.id);
}

void Rename(Options options, Pins &pins) {
    pins.Rename(options.id, options.name);
}

void Reorder(Options options, Pins &pins) {
    pins.Reorder(options.ids, options.offset, Limit(options));
}

using Act = void (*)(Options options, Pins &pins);

int Run(Options options, Act act) {
    const varn::RunAs before(varn::Who::kCaller);
    if (!Succeeded(CheckRoot())) {
        return kFailed;
    }
    const uid_t uid = tonvale_service::UidOf(options.user);
    if (!Succeeded(EnsureDatabase())) {
        return kFailed;
    }
    Pins pins(uid, options.user);
    act(options, pins);
    return kDone;
}

// "KEY=VALUE".
void AddCriterion(const std::string &text, PinOptions &options) {
    const std::size_t equals = text.find('=');
    if (equals == std::string::npos || equals == 0 ||
        !options.criteria.emplace(text.substr(0, equals), text.substr(equals + 1)).second) {
        throw BadValue("'" + text +
                       "' is no criterion: write each as KEY=VALUE, and each key once");
    }
}

Verb AddVerb(const Verb &group, const char *name, const char *description,
             const std::shared_ptr<PinOptions> &options, Act act) {
    const Verb verb = group.AddVerb(name, description);
    verb.AddText("--user", options->user, "Whose pins").ValueName("NAME");
    verb.Do([=] { return Run(*options, act); });
    return verb;
}

void AddAdd(const Verb &group) {
    const auto options = std::make_shared<PinOptions>();
    const Verb verb = AddVerb(group, "add", "Pin a view, and print the pin's id", options, Add);
    verb.AddText("TYPE", options->type,
                 "album, artist, composer, folder, genre, playlist, random_100 or "
                 "recently_added")
        .Required();
    verb.AddText("NAME", options->name, "What to call it").Required();
    verb.AddParsedList(
            "CRITERION", [options](const std::string &text) { AddCriterion(text, *options); },
            "What the view shows, as KEY=VALUE; the keys are album, album_artist, artist, "
            "composer, folder, genre, genre_filter, playlist")
        .ValueName("");
    verb.AddFlag("--json", options->json, "Print JSON");
}

}  // namespace

void AddPin(const Verb &app) {
    const Verb group = app.AddGroup("pin", "Keep views of the library on the start page");
    const auto listed = std::make_shared<PinOptions>();
    const Verb list = AddVerb(group, "list", "List the pins in their order", listed, List);
    list.AddPaging(listed->offset, listed->limit, "pins");
    list.AddFlag("--json", listed->json, "Print JSON instead of a table");

    AddAdd(group);

    const auto removed = std::make_shared<PinOptions>();
    AddVerb(group, "remove", "Remove a pin", removed, Remove)
        .AddText("ID", removed->id, "The pin's id")
        .Required();

    const auto renamed = std::make_shared<PinOptions>();
    const Verb rename = AddVerb(group, "rename", "Rename a pin", renamed, Rename);
    rename.AddText("ID", renamed->id, "The pin's id").Required();
    rename.AddText("NAME", renamed->name, "The new name").Required();

    const auto ordered = std::make_shared<PinOptions>();
    const Verb reorder = AddVerb(
        group, "reorder", "Change the order of the pins, or of a page of them", ordered, Reorder);
    reorder.AddText("ID", ordered->ids, "The ids of all of them, in the new order").Required();
    reorder.AddPaging(ordered->offset, ordered->limit, "pins");
}

}  // namespace tonvale_cli
