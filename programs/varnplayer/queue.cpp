#include "queue.h"

#include <sys/stat.h>
#include <syslog.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>

#include "queue_writer.h"
#include "text.h"
#include "tonvale/playlists.h"
#include "varn/mediaindex.h"

namespace varnplayer {

namespace {

using Clock = std::chrono::steady_clock;

// Records of a queue file that are held at a time, some 3 MB.
constexpr int kPage = 256;
// As many as the music player daemon takes (engine.cpp).
constexpr std::size_t kMostSongs = 65536;
constexpr std::size_t kLongestUri = 4080;  // a line has 4096 bytes, with the command and quotes
constexpr std::size_t kLongestTag = 1000;
constexpr std::chrono::milliseconds kStep{100};
constexpr int kMostFailures = 5;  // in a row
constexpr std::chrono::milliseconds kPause{500};

bool IsRemote(const std::string &path) {
    return path.starts_with("http://") || path.starts_with("https://");
}

// True for what fits into a line of the daemon's protocol. Its client library can not go on with
// a connection after one that does not.
bool FitsIntoALine(const std::string &uri) {
    const auto escaped =
        std::count_if(uri.begin(), uri.end(), [](char c) { return c == '"' || c == '\\'; });
    return uri.size() + static_cast<std::size_t>(escaped) <= kLongestUri &&
           uri.find_first_of("\r\n") == std::string::npos;
}

// Where a virtual song starts in its file. The record is to be complete: the library is not asked,
// by which every song of a queue could take as long as the database does not answer.
int64_t StartOf(const VARN_MEDIA_INFO &song) {
    const int64_t start =
        song.is_virtual != 0 ? song.virtual_start : GetVirtualMusicStartPosition(song.comment);
    return std::max<int64_t>(start, 0);
}

// As much of a record's text as fits into a line of the daemon's protocol.
template <std::size_t size>
std::string TagText(const char (&text)[size]) {
    std::string whole = Utf8({text, strnlen(text, size)});
    std::replace_if(
        whole.begin(), whole.end(), [](unsigned char c) { return c < ' '; }, ' ');
    return whole.size() <= kLongestTag ? whole : "";
}

// Of a virtual song, the part of its file that it is. What is read of the record is ended first: in
// a damaged file a text may go on to the next field.
QueuedSong ToQueued(VARN_MEDIA_INFO &song) {
    song.path[sizeof song.path - 1] = '\0';
    song.comment[sizeof song.comment - 1] = '\0';
    QueuedSong queued;
    std::string path(song.path);
    if (path.empty()) {
        return queued;
    }
    std::array<char, sizeof song.path> file{};
    queued.isPart = IsVirtualMusic(&song);
    if (queued.isPart) {
        if (IsVirtualPath(song.path, file.data(), file.size(), nullptr)) {
            path = file.data();
        }
        queued.start = static_cast<float>(StartOf(song));
        queued.end = song.duration > 0 ? queued.start + song.duration : -1;
    }
    queued.uri = IsRemote(path) ? path : "file://" + path;
    if (IsRemote(path)) {
        queued.title = TagText(song.title);
        queued.artist = TagText(song.artist);
        queued.album = TagText(song.album);
    }
    if (!FitsIntoALine(queued.uri)) {
        queued.uri.clear();
    }
    return queued;
}

// Whether the daemon takes a tag does not matter.
void AddTags(const Mpd &mpd, unsigned id, const QueuedSong &song) {
    for (const auto &[type, text] : {std::pair(MPD_TAG_TITLE, &song.title),
                                     {MPD_TAG_ARTIST, &song.artist},
                                     {MPD_TAG_ALBUM, &song.album}}) {
        if (!text->empty()) {
            mpd.Accepted(mpd_run_add_tag_id(mpd.Get(), id, type, text->c_str()));
        }
    }
}

// False, with nothing added, when the daemon refuses the song or its part.
bool Add(const Mpd &mpd, const QueuedSong &song) {
    if (song.uri.empty()) {
        return false;
    }
    const int id = mpd_run_add_id(mpd.Get(), song.uri.c_str());
    if (!mpd.Accepted(id != -1)) {
        return false;
    }
    const auto added = static_cast<unsigned>(id);
    AddTags(mpd, added, song);
    if (!song.isPart) {
        return true;
    }
    if (mpd.Accepted(mpd_run_range_id(mpd.Get(), added, song.start, song.end))) {
        return true;
    }
    mpd.Require(mpd_run_delete_id(mpd.Get(), added));
    return false;
}

bool IsFile(const std::string &path) {
    struct stat info {};
    return stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

VARN_MEDIA_INFO Record(const mpd_song *song) {
    VARN_MEDIA_INFO record = {};
    SetMediaPathTitle(mpd_song_get_uri(song), &record);
    const auto take = [&](mpd_tag_type type, char *out, std::size_t size) {
        if (const char *text = mpd_song_get_tag(song, type, 0)) {
            out[std::string_view(text).copy(out, size - 1)] = '\0';
        }
    };
    take(MPD_TAG_TITLE, record.title, sizeof record.title);
    take(MPD_TAG_ARTIST, record.artist, sizeof record.artist);
    take(MPD_TAG_ALBUM, record.album, sizeof record.album);
    record.duration = static_cast<float>(mpd_song_get_duration_ms(song)) / 1000;
    const unsigned start = mpd_song_get_start(song);
    const unsigned end = mpd_song_get_end(song);
    if (start != 0 || end != 0) {
        // Which track of its sheet it is, nobody knows any more: it keeps its file's name.
        record.is_virtual = 1;
        record.virtual_start = static_cast<int>(start);
        record.duration = end > start ? static_cast<float>(end - start) : 0;
    }
    return record;
}

}  // namespace

void QueueAdder::Read(const std::string &path) {
    if (!IsFile(path)) {
        throw Refused(Refused::kBad, "there is no queue file " + path);
    }
    std::deque<QueuedSong> read;
    for (int start = 0;; start += kPage) {
        const std::unique_ptr<PlaylistInfo> queue(
            AudioFile::PlaylistFileLoad(path.c_str(), start, kPage));
        if (!queue) {
            throw Refused("the queue file " + path + " cannot be read or is in use");
        }
        for (const auto &song : queue->songs()) {
            read.push_back(ToQueued(*song));
        }
        if (songs_.size() + read.size() > kMostSongs) {
            throw Refused(Refused::kBad, "more than " + std::to_string(kMostSongs) + " songs");
        }
        if (queue->songs().size() < kPage) {
            break;
        }
    }
    if (IsDone()) {
        *this = QueueAdder();
    }
    std::move(read.begin(), read.end(), std::back_inserter(songs_));
}

bool QueueAdder::Step(const Mpd &mpd) {
    const auto end = Clock::now() + kStep;
    try {
        mpd.Get();  // no song is to blame when there is no connection
        while (!IsDone() && Clock::now() < end) {
            const QueuedSong song = std::move(songs_.front());
            songs_.pop_front();
            ++skipped_;  // until it is known to be added
            if (Add(mpd, song)) {
                --skipped_;
                ++added_;
            }
            failures_ = 0;
        }
    } catch (const Refused &refused) {
        Fail(refused.what());
        return false;
    }
    return true;
}

void QueueAdder::Fail(const char *why) {
    nextTry_ = Clock::now() + kPause;
    if (++failures_ < kMostFailures) {
        syslog(LOG_NOTICE, "adding songs: %s", why);
        return;
    }
    syslog(LOG_ERR, "%zu songs are not added any more: %s", songs_.size(), why);
    givenUp_ = static_cast<int>(songs_.size());
    Forget();
}

Json::Value QueueAdder::State() const {
    Json::Value state(Json::objectValue);
    state["added"] = added_;
    state["skipped"] = skipped_;
    state["given_up"] = givenUp_;
    state["waiting"] = static_cast<Json::UInt64>(songs_.size());
    return state;
}

Json::Value WriteQueueFile(const Mpd &mpd, const std::string &path) {
    const unsigned total = mpd_status_get_queue_length(mpd.Status().get());
    QueueWriter writer(path);
    unsigned written = 0;
    for (unsigned start = 0; start < total; start += kPage) {
        mpd.StartAnew();  // writing a long queue may take the time of many commands
        mpd.Require(mpd_send_list_queue_range_meta(mpd.Get(), start, start + kPage));
        for (MpdSong song(mpd_recv_song(mpd.Get())); song; song.reset(mpd_recv_song(mpd.Get()))) {
            writer.Add(Record(song.get()));
            ++written;
        }
        mpd.Require(mpd_response_finish(mpd.Get()));
    }
    writer.Finish();
    Json::Value answer(Json::objectValue);
    answer["written"] = written;
    return answer;
}

}  // namespace varnplayer
