#include "track_output.h"

#include "service/tracks.h"

namespace tonvale_cli {

using Tonvale::webapi::WebapiLibrary;

CLI::Option *AddAdditions(CLI::App &verb, Additions &additions) {
    return verb
        .add_option("--additional", additions,
                    "What the objects of songs hold besides: song_tag, song_audio, song_rating")
        ->delimiter(',')
        ->check(CLI::IsMember(tonvale_service::AdditionNames()))
        ->type_name("NAMES");
}

WebapiLibrary TrackWriter(uid_t uid, const std::string &user, const Additions &additions) {
    WebapiLibrary writer(uid, user, "");
    tonvale_service::Apply(additions, writer);
    return writer;
}

}  // namespace tonvale_cli
