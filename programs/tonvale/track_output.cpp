#include "track_output.h"

#include "service/tracks.h"

namespace tonvale_cli {

using Tonvale::webapi::WebapiLibrary;

Option AddAdditions(const Verb &verb, Additions &additions) {
    return verb
        .AddText("--additional", additions,
                 "What the objects of songs hold besides: song_tag, song_audio, song_rating")
        .SeparatedBy(',')
        .OneOf(tonvale_service::AdditionNames())
        .ValueName("NAMES");
}

WebapiLibrary TrackWriter(uid_t uid, const std::string &user, const Additions &additions) {
    WebapiLibrary writer(uid, user, "");
    tonvale_service::Apply(additions, writer);
    return writer;
}

}  // namespace tonvale_cli
