#include "service/devices/player.h"

#include <functional>
#include <memory>

#include "command.h"
#include "display.h"
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
    table.Print();
}

void PrintInfo(const Json::Value &answer) {
    for (const char *key : {"state", "index", "position", "total", "volume", "mode", "adding"}) {
        std::printf("%s: %s\n", key, Printable(Text(answer, key)).c_str());
    }
    std::string can;
    for (const Json::Value &name : answer["can"]) {
        can += name.isString() ? " " + name.asString() : "";
    }
    std::printf("can:%s\n", Printable(can).c_str());
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

void AddInfo(const Verb &verb, const Options &options) {
    const Verb info = verb.AddVerb("info", "Show what is playing");
    info.AddText("renderer", options->renderer, "A renderer, by its udn or number");
    info.AddFlag("--json", options->json, "Print JSON");
    info.Do([options] { return Show(*options, PlayerInfo(options->renderer), PrintInfo); });
}

void AddPages(const Verb &verb, const Options &options) {
    struct Entry {
        const char *name;
        const char *description;
        Json::Value (*ask)(int, int);
        const char *list;
        std::vector<const char *> keys;
    };
    const Entry kEntries[] = {
        {"queue",
         "List the queue, a page at a time",
         PlayerQueue,
         "songs",
         {"index", "title", "artist", "path"}},
        {"renderers",
         "List what the player can play on",
         PlayerRenderers,
         "renderers",
         {"udn", "name", "enabled"}},
        {"servers",
         "List the media servers that were found",
         PlayerServers,
         "servers",
         {"udn", "name"}},
    };
    for (const Entry &entry : kEntries) {
        const Verb page = verb.AddVerb(entry.name, entry.description);
        page.AddNumber("--offset", options->offset, 0, "How many to skip");
        page.AddNumber("--limit", options->limit, 0, "How many to list");
        page.AddFlag("--json", options->json, "Print JSON");
        page.Do([options, entry] {
            return Show(
                *options, entry.ask(options->offset, options->limit),
                [&](const Json::Value &answer) { PrintRows(answer, entry.list, entry.keys); });
        });
    }
}

void AddCommands(const Verb &verb, const Options &options) {
    for (const PlayerCommand &command : PlayerCommands()) {
        const Verb added = verb.AddVerb(std::string(command.name), command.description);
        if (command.takes != Takes::kNothing) {
            const std::string name = command.takes == Takes::kMode       ? "mode"
                                     : command.takes == Takes::kRenderer ? "renderer"
                                                                         : "number";
            const Option values =
                added.AddText(name, options->values, command.description).Required();
            if (command.takes != Takes::kVolumes) {
                values.Single();
            }
        }
        added.Do([options, &command] {
            TellPlayer(command, options->values);
            return kDone;
        });
    }
}

// Tells what became of the songs: most of a thousand may still be waiting.
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

void AddFiles(const Verb &verb, const Options &options) {
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
        const Verb command = verb.AddVerb(entry.name, entry.description);
        command.AddText("file", options->path, "An absolute path").Required();
        command.Do([options, call = entry.call] { return call(*options); });
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

void AddEqualizer(const Verb &verb, const Options &options) {
    const Verb equalizer =
        verb.AddGroup("equalizer", "Show the selected equalizer profile, or send it");
    const Verb show = equalizer.AddVerb("show", "Show its name and values");
    show.AddFlag("--json", options->json, "Print JSON");
    show.Do([options] { return Show(*options, SelectedEqualizer(), PrintEqualizer); });
    const Verb send = equalizer.AddVerb("send", "Send it, or other gains, to the player");
    send.AddText("gain", options->values, "Ten gains in dB, -24 to 24").ValueName("");
    send.Do([options] {
        SendEqualizer(options->values);
        return kDone;
    });
}

}  // namespace

void AddPlayer(const Verb &app) {
    const Verb verb = app.AddGroup("player", "Show and control what the player daemon plays");
    const auto options = std::make_shared<PlayerOptions>();
    AddInfo(verb, options);
    AddPages(verb, options);
    AddCommands(verb, options);
    AddFiles(verb, options);
    AddEqualizer(verb, options);
}

}  // namespace tonvale_cli
