#include "service/player.h"

#include <functional>
#include <memory>

#include "command.h"
#include "display.h"
#include "number.h"
#include "page_output.h"

namespace tonvale_cli {

namespace {

using namespace tonvale_service;

struct PlayerOptions {
    int offset = 0;
    int limit = 100;
    std::vector<std::string> values;
    std::string renderer;
    std::string path;
    bool json = false;
};
using Options = std::shared_ptr<PlayerOptions>;

std::string Text(const Json::Value &object, const char *key) {
    const Json::Value &value = object[key];
    return value.isConvertibleTo(Json::stringValue) ? value.asString() : "";
}

void PrintRows(const Json::Value &answer, const char *list, const std::vector<const char *> &keys) {
    std::vector<Table::Column> columns;
    for (const char *key : keys) {
        columns.push_back({key, false, true});
    }
    Table table(columns);
    const Json::Value &rows = answer[list];
    for (Json::ArrayIndex i = 0; rows.isArray() && i < rows.size(); ++i) {
        std::vector<std::string> cells;
        for (const char *key : keys) {
            cells.push_back(rows[i].isObject() ? Text(rows[i], key) : "");
        }
        table.AddRow(cells);
    }
    std::fputs(table.Text(TerminalWidth()).c_str(), stdout);
}

void PrintInfo(const Json::Value &answer) {
    for (const char *key : {"state", "index", "position", "total", "volume", "mode", "adding"}) {
        std::printf("%s: %s\n", key, Printable(Text(answer, key)).c_str());
    }
    for (const auto &[key, member] : {std::pair("song", "path"), {"renderer", "name"}}) {
        if (answer[key].isObject()) {
            std::printf("%s: %s\n", key, Printable(Text(answer[key], member)).c_str());
        }
    }
}

int Show(const PlayerOptions &options, const Json::Value &answer,
         const std::function<void(const Json::Value &)> &print) {
    options.json ? PrintJson(answer) : print(answer);
    return kDone;
}

void AddInfo(CLI::App &verb, const Options &options, Action &action) {
    CLI::App *info = verb.add_subcommand("info", "What is playing");
    info->add_option("renderer", options->renderer, "A renderer, by its udn or number");
    info->add_flag("--json", options->json, "Print JSON");
    info->callback([options, &action] {
        action = [options] { return Show(*options, PlayerInfo(options->renderer), PrintInfo); };
    });
}

void AddPages(CLI::App &verb, const Options &options, Action &action) {
    struct Entry {
        const char *name;
        const char *description;
        Json::Value (*ask)(int, int);
        const char *list;
        std::vector<const char *> keys;
    };
    const Entry kEntries[] = {
        {"queue",
         "The queue, a page at a time",
         PlayerQueue,
         "songs",
         {"index", "title", "artist", "path"}},
        {"renderers",
         "What can be played on",
         PlayerRenderers,
         "renderers",
         {"udn", "name", "enabled"}},
        {"servers", "Media servers that were found", PlayerServers, "servers", {"udn", "name"}},
    };
    for (const Entry &entry : kEntries) {
        CLI::App *page = verb.add_subcommand(entry.name, entry.description);
        AddNumber(*page, "--offset", options->offset, 0, "How many to pass over");
        AddNumber(*page, "--limit", options->limit, 0, "How many to list");
        page->add_flag("--json", options->json, "Print JSON");
        page->callback([options, &action, entry] {
            action = [options, entry] {
                return Show(
                    *options, entry.ask(options->offset, options->limit),
                    [&](const Json::Value &answer) { PrintRows(answer, entry.list, entry.keys); });
            };
        });
    }
}

void AddCommands(CLI::App &verb, const Options &options, Action &action) {
    for (const PlayerCommand &command : PlayerCommands()) {
        CLI::App *added = verb.add_subcommand(std::string(command.name), command.description);
        if (command.takes != Takes::kNothing) {
            const std::string name = command.takes == Takes::kMode ? "mode" : "number";
            CLI::Option *value =
                added->add_option(name, options->values, command.description)->required();
            value->expected(
                1, command.takes == Takes::kVolumes ? CLI::detail::expected_max_vector_size : 1);
        }
        added->callback([options, &action, &command] {
            action = [options, &command] {
                TellPlayer(command, options->values);
                return kDone;
            };
        });
    }
}

// Says what became of the songs, so that one who adds a thousand does not take them for lost.
int Add(const PlayerOptions &options) {
    const Json::Value answer = AddQueueFile(options.path);
    const auto number = [&](const char *key) {
        return answer[key].isIntegral() ? answer[key].asInt64() : 0;
    };
    if (number("skipped") > 0 || number("waiting") > 0) {
        std::fprintf(stderr, "tonvale: %lld added, %lld cannot be played, %lld still to be added\n",
                     static_cast<long long>(number("added")),
                     static_cast<long long>(number("skipped")),
                     static_cast<long long>(number("waiting")));
    }
    return kDone;
}

int Save(const PlayerOptions &options) {
    SaveQueueFile(options.path);
    return kDone;
}

void AddFiles(CLI::App &verb, const Options &options, Action &action) {
    struct Entry {
        const char *name;
        const char *description;
        int (*call)(const PlayerOptions &);
    };
    constexpr Entry kEntries[] = {
        {"add", "Add the songs of a queue file", Add},
        {"save", "Write the queue to a queue file", Save},
    };
    for (const Entry &entry : kEntries) {
        CLI::App *command = verb.add_subcommand(entry.name, entry.description);
        command->add_option("file", options->path, "An absolute path")->required();
        command->callback([options, &action, call = entry.call] {
            action = [options, call] { return call(*options); };
        });
    }
}

void PrintEqualizer(const Json::Value &selected) {
    if (selected["name"].isNull()) {
        std::puts("No profile is selected, or the equalizer is off.");
        return;
    }
    std::printf("%s: %s\n", Printable(selected["name"].asString()).c_str(),
                Printable(selected["values"].asString()).c_str());
}

void AddEqualizer(CLI::App &verb, const Options &options, Action &action) {
    CLI::App *equalizer = verb.add_subcommand("equalizer", "The selected equalizer profile");
    equalizer->require_subcommand(1);
    CLI::App *show = equalizer->add_subcommand("show", "Its name and values");
    show->add_flag("--json", options->json, "Print JSON");
    show->callback([options, &action] {
        action = [options] { return Show(*options, SelectedEqualizer(), PrintEqualizer); };
    });
    CLI::App *send = equalizer->add_subcommand("send", "Send it, or other gains, to the player");
    send->add_option("gain", options->values, "Ten gains in dB, -24 to 24")->type_name("");
    send->callback([options, &action] {
        action = [options] {
            SendEqualizer(options->values);
            return kDone;
        };
    });
}

}  // namespace

void AddPlayer(CLI::App &app, Action &action) {
    CLI::App *verb = app.add_subcommand("player", "Show and control what the player daemon plays");
    verb->require_subcommand(1);
    const auto options = std::make_shared<PlayerOptions>();
    AddInfo(*verb, options, action);
    AddPages(*verb, options, action);
    AddCommands(*verb, options, action);
    AddFiles(*verb, options, action);
    AddEqualizer(*verb, options, action);
}

}  // namespace tonvale_cli
