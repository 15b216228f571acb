// Any bytes as an identifier: nothing is read past its end, and its parts make the same identifier
// again.
#include <cstdint>
#include <string>

#include "require.h"
#include "tonvale/webapi.h"

namespace {

using Tonvale::webapi::playlist::PlaylistResult;

void CheckPlaylist(const std::string &id) {
    bool shared = false;
    bool smart = false;
    std::string key;
    const bool good = VARNAudioWebapiUtilsParsePlaylistId(id, shared, smart, key) == 1;
    const PlaylistResult result(id);
    const std::string again = result.GetId();
    Require(again.empty() == (!good || key.empty()), "a playlist with a key has an identifier");
    if (!again.empty()) {
        const PlaylistResult second(again);
        Require(second.GetId() == again, "an identifier is read back");
        Require(
            second.name + second.path == key && second.smart == smart && second.personal == !shared,
            "an identifier keeps its parts");
    }
}

void CheckStream(const std::string &id) {
    std::string title, url, artist, album, cover, name, radioUrl;
    int duration = 0;
    const bool good =
        VARNAudioWebapiUtilsParseRemoteId(id, title, url, artist, album, cover, duration) == 1;
    Require(good == (VARNAudioWebapiUtilsParseRadioId(id, name, radioUrl) == 1),
            "both parsers look for the same blank");
    Require(url == radioUrl, "both parsers find the same URL");
    Require(url.find(' ') == std::string::npos, "a URL has no blank");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string id(reinterpret_cast<const char *>(data), size);
    std::string number;
    if (VARNAudioWebapiUtilsParseSongId(id, number) == 0) {
        Require(!number.empty() && id.ends_with("_" + number), "a row id stands at the end");
    }
    CheckPlaylist(id);
    CheckStream(id);
    CheckStream("remote_" + id + " u");
    VARNAudioGetFullPathFromEncSong(id, "nobody");
    const Tonvale::UrlParser url(id);
    Require(url.scheme.empty() == url.host.empty(), "a URL has both or none");
    Require(url.host.find_first_of("/?# \r\n") == std::string::npos,
            "a host ends before the next part of a URL");
    Require(id.ends_with(VARNAudioWebapiUtilsGetFileName(id, false)),
            "a name is the end of a path");
    return 0;
}
