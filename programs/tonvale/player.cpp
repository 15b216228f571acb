#include <json/json.h>

#include <array>
#include <functional>
#include <memory>
#include <optional>

#include "command.h"
#include "database.h"
#include "display.h"
#include "number.h"
#include "tonvale/players.h"

namespace tonvale_cli {

namespace {

constexpr std::size_t kAnswerSize = 1 << 20;
constexpr std::array kModes = {"once", "repeat", "repeat-one", "shuffle"};

struct PlayerOptions {
    int number = 0;
    int offset = 0;
    int limit = 100;
    std::string mode;
    std::string path;
    bool json = false;
};

// A call that has the daemon's answer put into a buffer.
using Question = std::function<int(char *, int)>;

// The answer's object. Empty, with a message, when there is none or it is a refusal.
std::optional<Json::Value> Ask(const Question &question) {
    std::string out(kAnswerSize, '\0');
    const int length = question(out.data(), static_cast<int>(out.size()));
    if (length < 0) {
        Complain("no player answers; 'varnplayer' is one to start");
        return std::nullopt;
    }
    Json::Value answer;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    if (!reader->parse(out.data(), out.data() + length, &answer, nullptr) || !answer.isObject()) {
        Complain("the player's answer is not understood");
        return std::nullopt;
    }
    if (answer["error"].isString()) {
        Complain("the player refuses: " + answer["error"].asString());
        return std::nullopt;
    }
    return answer;
}

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
    for (const char *key : {"state", "index", "position", "total", "volume", "mode"}) {
        std::printf("%s: %s\n", key, Printable(Text(answer, key)).c_str());
    }
    if (answer["song"].isObject()) {
        std::printf("song: %s\n", Printable(Text(answer["song"], "path")).c_str());
    }
}

void PrintJson(const Json::Value &answer) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    std::puts(Json::writeString(builder, answer).c_str());
}

// Asks, and prints the answer by `print` or as JSON.
int Show(const PlayerOptions &options, const Question &question,
         const std::function<void(const Json::Value &)> &print) {
    const std::optional<Json::Value> answer = Ask(question);
    if (!answer) {
        return kFailed;
    }
    options.json ? PrintJson(*answer) : print(*answer);
    return kDone;
}

// A command without an answer: only that it could be sent is known.
int Tell(int result) {
    if (result < 0) {
        Complain("no player answers; 'varnplayer' is one to start");
        return kFailed;
    }
    return kDone;
}

using Options = std::shared_ptr<PlayerOptions>;

void AddQuestions(CLI::App &verb, const Options &options, Action &action) {
    CLI::App *info = verb.add_subcommand("info", "What is playing");
    CLI::App *queue = verb.add_subcommand("queue", "The queue, a page at a time");
    CLI::App *renderers = verb.add_subcommand("renderers", "What can be played on");
    for (CLI::App *page : {queue, renderers}) {
        AddNumber(*page, "--offset", options->offset, 0, "How many to pass over");
        AddNumber(*page, "--limit", options->limit, 0, "How many to list");
    }
    for (CLI::App *question : {info, queue, renderers}) {
        question->add_flag("--json", options->json, "Print JSON");
    }
    info->callback([options, &action] {
        action = [options] { return Show(*options, VARNAudioPlayerInfo, PrintInfo); };
    });
    queue->callback([options, &action] {
        action = [options] {
            return Show(
                *options,
                [&](char *out, int size) {
                    return VARNAudioListPlaylist(options->offset, options->limit, out, size);
                },
                [](const Json::Value &answer) {
                    PrintRows(answer, "songs", {"index", "title", "artist", "path"});
                });
        };
    });
    renderers->callback([options, &action] {
        action = [options] {
            return Show(
                *options,
                [&](char *out, int size) {
                    return VARNAudioListRenderer(options->offset, options->limit, out, size);
                },
                [](const Json::Value &answer) {
                    PrintRows(answer, "renderers", {"udn", "name", "enabled"});
                });
        };
    });
}

void AddNumbers(CLI::App &verb, const Options &options, Action &action) {
    struct Entry {
        const char *name;
        const char *description;
        int (*call)(int) noexcept;
    };
    constexpr Entry kEntries[] = {
        {"play", "Play song N of the queue, from 0", VARNAudioJump},
        {"select", "Make song N the current one", VARNAudioSetIndex},
        {"delete", "Take song N off the queue", VARNAudioDelete},
        {"seek", "Go to second N of the song", VARNAudioSeek},
        {"volume", "Set the volume, 0-100", VARNAudioSetVolume},
    };
    for (const Entry &entry : kEntries) {
        CLI::App *command = verb.add_subcommand(entry.name, entry.description);
        AddNumber(*command, "number", options->number, 0, entry.description)->required();
        command->callback([options, &action, call = entry.call] {
            action = [options, call] { return Tell(call(options->number)); };
        });
    }
}

void AddOthers(CLI::App &verb, const Options &options, Action &action) {
    CLI::App *clear = verb.add_subcommand("clear", "Empty the queue");
    clear->callback([&action] { action = [] { return Tell(VARNAudioDeleteAll()); }; });

    CLI::App *mode = verb.add_subcommand("mode", "Set the way of playing");
    mode->add_option("mode", options->mode, "once, repeat, repeat-one or shuffle")
        ->check(CLI::IsMember(std::vector<std::string>(kModes.begin(), kModes.end())))
        ->type_name("")
        ->required();
    mode->callback([options, &action] {
        action = [options] {
            const auto *found = std::find(kModes.begin(), kModes.end(), options->mode);
            return Tell(VARNAudioSetMode(static_cast<int>(found - kModes.begin())));
        };
    });

    struct Entry {
        const char *name;
        const char *description;
        int (*call)(const char *) noexcept;
    };
    constexpr Entry kEntries[] = {
        {"add", "Add the songs of a queue file", VARNAudioAddFromFile},
        {"save", "Write the queue to a queue file", VARNAudioOutputPlaylist},
    };
    for (const Entry &entry : kEntries) {
        CLI::App *command = verb.add_subcommand(entry.name, entry.description);
        command->add_option("file", options->path, "An absolute path")->required();
        command->callback([options, &action, call = entry.call] {
            action = [options, call] {
                if (!options->path.starts_with('/')) {
                    Complain("the player has a folder of its own: name an absolute path");
                    return kUsage;
                }
                return Tell(call(options->path.c_str()));
            };
        });
    }
}

}  // namespace

void AddPlayer(CLI::App &app, Action &action) {
    CLI::App *verb = app.add_subcommand("player", "Show and control what the player daemon plays");
    verb->require_subcommand(1);
    const auto options = std::make_shared<PlayerOptions>();
    AddQuestions(*verb, options, action);
    AddNumbers(*verb, options, action);
    AddOthers(*verb, options, action);
}

}  // namespace tonvale_cli
