#include "track_output.h"

#include "answers/tracks.h"
#include "page_output.h"

namespace tonvale_cli {

using Tonvale::webapi::WebapiLibrary;

CLI::Option *AddAdditions(CLI::App &verb, Additions &additions) {
    return verb
        .add_option("--additional", additions,
                    "What the objects of songs hold besides: song_tag, song_audio, song_rating")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->check(CLI::IsMember(tonvale_answers::AdditionNames()))
        ->type_name("NAMES");
}

WebapiLibrary TrackWriter(uid_t uid, const std::string &user, const Additions &additions) {
    WebapiLibrary writer(uid, user, "");
    tonvale_answers::Apply(additions, writer);
    return writer;
}

void PrintTracksJson(const Json::Value &tracks, int offset, int64_t total) {
    Json::Value page(Json::objectValue);
    page["offset"] = offset;
    page["songs"] = tracks;
    page["total"] = Json::Int64{total};
    PrintJson(page);
}

void PrintTracksTable(const Json::Value &tracks, int offset, int64_t total) {
    Table table({{"ID", false, true}, {"TITLE", false, true}, {"PATH", false, true}});
    for (const Json::Value &track : tracks) {
        table.AddRow({track["id"].asString(), track["title"].asString(), track["path"].asString()});
    }
    PrintPage(table, offset, tracks.size(), total, {"track", "tracks"});
}

}  // namespace tonvale_cli
