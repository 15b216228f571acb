#include "varn/mediaindex.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <iterator>

#include "linux/error.h"
#include "linux/utf8.h"
#include "varn/database.h"
#include "varn/number.h"

namespace {

// A row as a record takes it. A column that is not there reads as empty text.
class Row : public varn::Row {
  public:
    using varn::Row::Row;

    template <std::size_t Size>
    void Copy(const char *column, char (&out)[Size]) const {
        varn::CopyCut(TextIfAny(column), out);
    }

    long long Number(const char *column, long long low, long long high) const {
        return std::clamp(std::strtoll(TextIfAny(column), nullptr, 10), low, high);
    }

    int Int(const char *column) const { return static_cast<int>(Number(column, INT_MIN, INT_MAX)); }

    uint32_t Unsigned(const char *column) const {
        return static_cast<uint32_t>(Number(column, 0, UINT32_MAX));
    }

    bool Flag(const char *column) const { return *TextIfAny(column) == 't'; }
};

void ReadProperties(const Row &row, VARN_MEDIA_INFO &info) {
    row.Copy("container", info.container);
    row.Copy("codec", info.codec);
    info.duration = varn::LeadingNumber<float>(row.TextIfAny("duration"));
    info.bitrate = row.Unsigned("bitrate");
    info.frequency = row.Int("frequency");
    info.channel = row.Int("channel");
    info.filesize = row.Int("filesize");
}

void ReadTags(const Row &row, VARN_MEDIA_INFO &info) {
    row.Copy("artist", info.artist);
    row.Copy("album_artist", info.album_artist);
    row.Copy("composer", info.composer);
    row.Copy("genre", info.genre);
    row.Copy("comment", info.comment);
    // A row tells a track of a cue sheet by its flag: anybody may write the descriptor into a tag.
    if (IsVirtualMusic(info.comment)) {
        std::fill(std::begin(info.comment), std::end(info.comment), '\0');
    }
    info.year = row.Int("year");
    info.disc = row.Int("disc");
    info.track = row.Int("track");
}

void ReadTrack(const Row &row, VARN_MEDIA_INFO &info) {
    ReadTags(row, info);
    ReadProperties(row, info);
    info.userid = row.Unsigned("userid");
    if (row.Flag("is_virtual")) {
        info.is_virtual = 1;
        info.virtual_track = info.track;
        info.virtual_start = row.Int("audio_offset");
    }
}

}  // namespace

int MediaInfoDBGet(MEDIA_DB_HANDLE *handle, VARN_MEDIA_INFO *out) {
    if (handle == nullptr || out == nullptr) {
        varn::SetError(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    if (handle->cursor < 0 || handle->cursor >= VARNDBNumRows(handle->result)) {
        return -1;
    }
    const Row row(handle->result, handle->cursor++);
    *out = VARN_MEDIA_INFO{};
    out->id = row.Unsigned("id");
    row.Copy("path", out->path);
    if (handle->tableType == VARN_TABLE_DIRECTORY) {
        return 0;
    }
    row.Copy("title", out->title);
    row.Copy("album", out->album);
    if (handle->tableType == VARN_TABLE_MUSIC) {
        ReadTrack(row, *out);
    }
    return 0;
}
