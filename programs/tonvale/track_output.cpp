#include "track_output.h"

namespace tonvale_cli {

using Tonvale::webapi::WebapiLibrary;

Option AddAdditions(const Verb &verb, Additions &additions) {
    return verb
        .AddText("--additional", additions,
                 "What the objects of songs hold besides: song_tag, song_audio, song_rating, "
                 "song_favourite, song_plays")
        .SeparatedBy(',')
        .OneOf(tonvale_service::AdditionNames())
        .ValueName("NAMES");
}

tonvale_service::TrackWriter TrackWriter(uid_t uid, const std::string &user,
                                         const Additions &additions) {
    WebapiLibrary writer(uid, user, "");
    const auto marks = tonvale_service::Apply(additions, writer);
    return {writer, marks};
}

}  // namespace tonvale_cli
