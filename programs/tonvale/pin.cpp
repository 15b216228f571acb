// Pins: the views that a user keeps on the start page.
#include <cstdio>
#include <map>
#include <memory>

#include "command.h"
#include "database.h"
#include "number.h"
#include "page_output.h"
#include "service/pins.h"
#include "service/settings.h"
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
    if (auto done = CheckRoot(); !done) {
        Complain(done.Message());
        return kFailed;
    }
    const uid_t uid = tonvale_service::UidOf(options.user);
    if (auto done = EnsureDatabase(); !done) {
        Complain(done.Message());
        return kFailed;
    }
    Pins pins(uid, options.user);
    act(options, pins);
    return kDone;
}

// "KEY=VALUE", for CLI11.
std::string AddCriterion(const std::string &text, PinOptions &options) {
    const std::size_t equals = text.find('=');
    if (equals == std::string::npos || equals == 0 ||
        !options.criteria.emplace(text.substr(0, equals), text.substr(equals + 1)).second) {
        return "'" + text + "' is no criterion; write each as KEY=VALUE, a key once";
    }
    return "";
}

CLI::App *AddVerb(CLI::App &group, Action &action, const char *name, const char *description,
                  const std::shared_ptr<PinOptions> &options, Act act) {
    CLI::App *verb = group.add_subcommand(name, description);
    verb->add_option("--user", options->user, "Whose pins")
        ->type_name("NAME")
        ->capture_default_str();
    verb->callback([=, &action] { action = [=] { return Run(*options, act); }; });
    return verb;
}

void AddPageOptions(CLI::App &verb, PinOptions &options) {
    AddNumber(verb, "--offset", options.offset, 0, "How many pins to pass over");
    AddNumber(verb, "--limit", options.limit, 0, "How many pins; 0: all");
}

void AddAdd(CLI::App &group, Action &action) {
    const auto options = std::make_shared<PinOptions>();
    CLI::App *verb =
        AddVerb(group, action, "add", "Pin a view, and print the pin's id", options, Add);
    verb->add_option("TYPE", options->type,
                     "album, artist, composer, folder, genre, playlist, random_100 or "
                     "recently_added")
        ->required();
    verb->add_option("NAME", options->name, "What to call it")->required();
    const auto take = [options](const std::vector<std::string> &texts) {
        for (const std::string &text : texts) {
            if (const std::string problem = AddCriterion(text, *options); !problem.empty()) {
                throw CLI::ValidationError("CRITERION", problem);
            }
        }
    };
    verb->add_option_function<std::vector<std::string>>(
            "CRITERION", take,
            "What the view shows, as KEY=VALUE; the keys are album, album_artist, artist, "
            "composer, folder, genre, genre_filter, playlist")
        ->type_name("");
    verb->add_flag("--json", options->json, "Print JSON");
}

}  // namespace

void AddPin(CLI::App &app, Action &action) {
    CLI::App *group = app.add_subcommand("pin", "Keep views of the library on the start page");
    group->require_subcommand(1);
    const auto listed = std::make_shared<PinOptions>();
    CLI::App *list = AddVerb(*group, action, "list", "List the pins in their order", listed, List);
    AddPageOptions(*list, *listed);
    list->add_flag("--json", listed->json, "Print JSON instead of a table");

    AddAdd(*group, action);

    const auto removed = std::make_shared<PinOptions>();
    AddVerb(*group, action, "remove", "Take a pin away", removed, Remove)
        ->add_option("ID", removed->id, "The pin's id")
        ->required();

    const auto renamed = std::make_shared<PinOptions>();
    CLI::App *rename =
        AddVerb(*group, action, "rename", "Call a pin something else", renamed, Rename);
    rename->add_option("ID", renamed->id, "The pin's id")->required();
    rename->add_option("NAME", renamed->name, "The new name")->required();

    const auto ordered = std::make_shared<PinOptions>();
    CLI::App *reorder =
        AddVerb(*group, action, "reorder", "Put the pins, or those of a page, into another order",
                ordered, Reorder);
    reorder->add_option("ID", ordered->ids, "The ids of all of them, in the new order")->required();
    AddPageOptions(*reorder, *ordered);
}

}  // namespace tonvale_cli
