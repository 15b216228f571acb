// What a verb of the command line is to the rest of the program.
#pragma once

#include <CLI/CLI.hpp>

#include <functional>

namespace tonvale_cli {

// Exit statuses.
inline constexpr int kDone = 0;
inline constexpr int kFailed = 1;  // it could not do its work
inline constexpr int kUsage = 2;   // it was asked for something that does not exist

// The verbs that work on other machines and need no system of their own.
inline constexpr char kMediaServer[] = "mediaserver";
inline constexpr char kSpeaker[] = "speaker";

// What to do once the whole command line is read; the result is the exit status.
using Action = std::function<int()>;

// Each adds its verb, which sets the action when it is chosen.
void AddCover(CLI::App &app, Action &action);
void AddFolders(CLI::App &app, Action &action);
void AddGroups(CLI::App &app, Action &action);  // albums, artists, genres and composers
void AddIndex(CLI::App &app, Action &action);
void AddInit(CLI::App &app, Action &action);
void AddMediaServer(CLI::App &app, Action &action);
void AddPermission(CLI::App &app, Action &action);
void AddPersonal(CLI::App &app, Action &action);
void AddPin(CLI::App &app, Action &action);
void AddPlayer(CLI::App &app, Action &action);
void AddPlaylist(CLI::App &app, Action &action);
void AddPlaylists(CLI::App &app, Action &action);
void AddPreference(CLI::App &app, Action &action);
void AddRate(CLI::App &app, Action &action);
void AddSearch(CLI::App &app, Action &action);
void AddServe(CLI::App &app, Action &action);
void AddShare(CLI::App &app, Action &action);
void AddSmart(CLI::App &app, Action &action);
void AddSongs(CLI::App &app, Action &action);
void AddSoundCard(CLI::App &app, Action &action);
void AddSpeaker(CLI::App &app, Action &action);
void AddStart(CLI::App &app, Action &action);
void AddStop(CLI::App &app, Action &action);
void AddUserVerb(CLI::App &app, Action &action);

}  // namespace tonvale_cli
