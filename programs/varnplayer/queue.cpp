#include "queue.h"

#include <array>
#include <cstdio>
#include <filesystem>
#include <memory>

#include "tonvale/playlists.h"
#include "varn/mediaindex.h"

namespace varnplayer {

namespace {

// Records of a queue file that are held at a time, some 3 MB.
constexpr int kPage = 256;

bool IsRemote(const std::string &path) {
    return path.starts_with("http://") || path.starts_with("https://");
}

// Adds a song; of a virtual one, the part of its file that it is.
bool Add(const Mpd &mpd, const VARN_MEDIA_INFO &song) {
    std::string path(song.path);
    if (path.empty() || path.find_first_of("\r\n") != std::string::npos) {
        return false;  // the daemon's protocol is made of lines
    }
    std::array<char, sizeof song.path> file{};
    int track = 0;
    const bool isVirtual = IsVirtualMusic(&song);
    if (isVirtual && IsVirtualPath(song.path, file.data(), file.size(), &track)) {
        path = file.data();
    }
    const int id =
        mpd_run_add_id(mpd.Get(), IsRemote(path) ? path.c_str() : ("file://" + path).c_str());
    if (!mpd.Accepted(id != -1)) {
        return false;
    }
    if (!isVirtual) {
        return true;
    }
    const auto start = static_cast<float>(GetVirtualMusicStartPosition(&song));
    const float end = song.duration > 0 ? start + song.duration : -1;
    return mpd.Accepted(end > 0 ? mpd_run_range_id(mpd.Get(), static_cast<unsigned>(id), start, end)
                                : true);
}

void CopyText(const char *text, char *out, std::size_t size) {
    std::snprintf(out, size, "%s", text != nullptr ? text : "");
}

VARN_MEDIA_INFO Record(const mpd_song *song) {
    VARN_MEDIA_INFO record = {};
    const char *uri = mpd_song_get_uri(song);
    SetMediaPathTitle(uri, &record);
    const auto take = [&](mpd_tag_type type, char *out, std::size_t size) {
        if (const char *text = mpd_song_get_tag(song, type, 0)) {
            CopyText(text, out, size);
        }
    };
    take(MPD_TAG_TITLE, record.title, sizeof record.title);
    take(MPD_TAG_ARTIST, record.artist, sizeof record.artist);
    take(MPD_TAG_ALBUM, record.album, sizeof record.album);
    record.duration = static_cast<float>(mpd_song_get_duration_ms(song)) / 1000;
    return record;
}

}  // namespace

Json::Value AddQueueFile(const Mpd &mpd, const std::string &path) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error)) {
        throw Refused("there is no queue file " + path);
    }
    int added = 0;
    int skipped = 0;
    for (int start = 0;; start += kPage) {
        const std::unique_ptr<PlaylistInfo> queue(
            AudioFile::PlaylistFileLoad(path.c_str(), start, kPage));
        if (!queue) {
            throw Refused("the queue file " + path + " cannot be read or is in use");
        }
        for (const auto &song : queue->songs()) {
            Add(mpd, *song) ? ++added : ++skipped;
        }
        if (queue->songs().size() < kPage) {
            break;
        }
    }
    Json::Value answer(Json::objectValue);
    answer["added"] = added;
    answer["skipped"] = skipped;
    return answer;
}

Json::Value WriteQueueFile(const Mpd &mpd, const std::string &path) {
    PlaylistInfo queue;
    mpd.Require(mpd_send_list_queue_meta(mpd.Get()));
    for (MpdSong song(mpd_recv_song(mpd.Get())); song; song.reset(mpd_recv_song(mpd.Get()))) {
        queue.addSong(Record(song.get()));
    }
    mpd.Require(mpd_response_finish(mpd.Get()));
    if (AudioFile::PlaylistFileSave(path.c_str(), &queue) != 0) {
        throw Refused("the queue file " + path + " cannot be written");
    }
    Json::Value answer(Json::objectValue);
    answer["written"] = static_cast<Json::UInt64>(queue.songs().size());
    return answer;
}

}  // namespace varnplayer
