// What a verb of the command line is to the rest of the program.
#pragma once

#include "verb.h"

namespace tonvale_cli {

// Exit statuses.
inline constexpr int kDone = 0;
inline constexpr int kFailed = 1;  // it could not do its work
inline constexpr int kUsage = 2;   // it was asked for something that does not exist

// The verbs that work on other machines and need no system of their own.
inline constexpr char kMediaServer[] = "mediaserver";
inline constexpr char kSpeaker[] = "speaker";

// Each adds its verb.
void AddCover(const Verb &app);
void AddFolders(const Verb &app);
void AddGroups(const Verb &app);  // albums, artists, genres and composers
void AddIndex(const Verb &app);
void AddInit(const Verb &app);
void AddMediaServer(const Verb &app);
void AddPermission(const Verb &app);
void AddPersonal(const Verb &app);
void AddPin(const Verb &app);
void AddPlayer(const Verb &app);
void AddPlaylist(const Verb &app);
void AddPlaylists(const Verb &app);
void AddPreference(const Verb &app);
void AddRate(const Verb &app);
void AddRights(const Verb &user);  // a verb of the verb user
void AddSearch(const Verb &app);
void AddServe(const Verb &app);
void AddShare(const Verb &app);
void AddSmart(const Verb &app);
void AddSongs(const Verb &app);
void AddSoundCard(const Verb &app);
void AddSpeaker(const Verb &app);
void AddStart(const Verb &app);
void AddStop(const Verb &app);
void AddUserVerb(const Verb &app);

}  // namespace tonvale_cli
