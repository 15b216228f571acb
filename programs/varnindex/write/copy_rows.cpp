#include "varnindex/write/copy_rows.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <ctime>
#include <optional>

#include "varnindex/read/names.h"

namespace varnindex {
namespace {

constexpr std::int64_t kSecond = 1'000'000;
constexpr std::int64_t kYear1 = -62'135'596'800 * kSecond;
constexpr std::int64_t kYear10000 = 253'402'300'800 * kSecond;

// One line of COPY: values separated by tabs.
class Line {
  public:
    explicit Line(std::string &out) : out_(out) {}
    ~Line() { out_ += '\n'; }
    Line(const Line &) = delete;
    Line &operator=(const Line &) = delete;

    Line &Add(std::string_view text) {
        Separate();
        AppendEscaped(out_, text);
        return *this;
    }

    template <typename Number>
    Line &AddNumber(Number number) {
        Separate();
        std::array<char, 32> digits;
        const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
        out_.append(digits.data(), end);
        return *this;
    }

    Line &AddOptional(const std::optional<float> &number) {
        return number ? AddNumber(*number) : AddNull();
    }

    Line &AddNull() {
        Separate();
        out_ += "\\N";
        return *this;
    }

  private:
    void Separate() {
        if (!first_) {
            out_ += '\t';
        }
        first_ = false;
    }

    std::string &out_;
    bool first_ = true;
};

}  // namespace

std::int64_t StorableTime(std::int64_t microseconds) {
    return std::clamp(microseconds, kYear1, kYear10000 - 1);
}

std::string Timestamp(std::int64_t microseconds) {
    std::int64_t seconds = microseconds / kSecond;
    std::int64_t fraction = microseconds % kSecond;
    if (fraction < 0) {
        --seconds;
        fraction += kSecond;
    }
    const auto time = static_cast<std::time_t>(seconds);
    std::tm utc{};
    gmtime_r(&time, &utc);
    std::array<char, 64> text;
    const int length = std::snprintf(text.data(), text.size(), "%04d-%02d-%02d %02d:%02d:%02d.%06d",
                                     utc.tm_year + 1900, utc.tm_mon + 1, utc.tm_mday, utc.tm_hour,
                                     utc.tm_min, utc.tm_sec, static_cast<int>(fraction));
    return {text.data(), static_cast<std::size_t>(length)};
}

std::string IdList(const std::vector<int> &ids) {
    std::string list;
    for (const int id : ids) {
        list += (list.empty() ? "" : ",") + std::to_string(id);
    }
    return list;
}

void AppendEscaped(std::string &out, std::string_view value) {
    for (const char c : value) {
        switch (c) {
            case '\\':
                out += "\\\\";
                break;
            case '\t':
                out += "\\t";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\r':
                out += "\\r";
                break;
            default:
                out += c;
        }
    }
}

std::string Escaped(std::string_view value) {
    std::string escaped;
    AppendEscaped(escaped, value);
    return escaped;
}

void AppendTrackRow(std::string &rows, int id, const Song &song, RowKind kind) {
    const std::string genres = JoinGenres(song.genres);
    Line line(rows);
    line.AddNumber(id).Add(song.path).Add(song.title).Add(song.titleSort);
    line.AddNumber(song.size).AddNumber(song.year).AddNumber(song.sampleRate);
    line.AddNumber(song.channels).AddNumber(song.bitRate).AddNumber(song.duration);
    line.Add(song.comment).AddNumber(song.track).AddNumber(song.disc);
    line.Add(song.container).Add(song.codec).Add(Timestamp(song.modified));
    line.Add(genres).Add(SortName(genres));
    line.AddNumber(song.userid).AddNumber(song.pictures);
    line.Add(kind == RowKind::kTrack ? "t" : "f").Add(kind == RowKind::kSplit ? "t" : "f");
    // A track is moved with its file, and never by itself.
    if (kind == RowKind::kTrack) {
        line.AddNull().AddNumber(0);
    } else {
        line.AddNumber(song.fingerprint).AddNumber(song.sheetStamp);
    }
}

void AppendOffsetRow(std::string &rows, int id, int file, int offset,
                     const std::string &sheetPath) {
    Line(rows).AddNumber(id).AddNumber(file).AddNumber(offset).Add(sheetPath);
}

void AppendStarRows(std::string &rows, int id, const Song &song) {
    for (const Star &star : song.stars) {
        Line(rows).AddNumber(id).AddNumber(star.userid).AddNumber(star.stars);
    }
}

void AppendSideRows(SideRows &rows, int id, const Song &song) {
    Line(rows[kAlbum])
        .AddNumber(id)
        .Add(song.album)
        .Add(song.albumSort)
        .Add(song.albumArtist)
        .Add(song.albumArtistSort);
    Line(rows[kArtist])
        .AddNumber(id)
        .Add(song.artist)
        .Add(song.artistSort)
        .Add(song.albumArtist.empty() ? "f" : "t");
    Line(rows[kComposer]).AddNumber(id).Add(song.composer).Add(song.composerSort);
    if (song.genres.empty()) {
        Line(rows[kGenre]).AddNumber(id).Add("").Add("");
    }
    for (const std::string &name : song.genres) {
        Line(rows[kGenre]).AddNumber(id).Add(name).Add(SortName(name));
    }
    if (song.gain.IsTagged()) {
        Line(rows[kReplayGain])
            .AddNumber(id)
            .AddOptional(song.gain.trackGain)
            .AddOptional(song.gain.trackPeak)
            .AddOptional(song.gain.albumGain)
            .AddOptional(song.gain.albumPeak);
    }
}

}  // namespace varnindex
