#include "varnindex/match/packed.h"

#include <array>
#include <charconv>
#include <optional>
#include <stdexcept>
#include <type_traits>
#include <vector>

namespace varnindex {
namespace {

template <typename T>
concept Number = std::is_arithmetic_v<T>;

// Calls `each` with all members that are kept, in a fixed order.
template <typename AnySong, typename Each>
void ForMembers(AnySong &song, const Each &each) requires requires {
    song.fingerprint;
}
{
    each(song.path, song.size, song.modified, song.userid, song.fingerprint, song.sheetStamp,
         song.pictures, song.title, song.titleSort, song.album, song.albumSort, song.artist,
         song.artistSort, song.albumArtist, song.albumArtistSort, song.composer, song.composerSort,
         song.genres, song.comment, song.year, song.track, song.disc, song.container, song.codec,
         song.duration, song.bitRate, song.sampleRate, song.channels, song.gain.trackGain,
         song.gain.trackPeak, song.gain.albumGain, song.gain.albumPeak, song.stars);
}

template <typename AnyStar, typename Each>
void ForMembers(AnyStar &star, const Each &each) requires requires {
    star.stars + star.userid;
}
{ each(star.userid, star.stars); }

template <typename Track, typename Each>
void ForMembers(Track &track, const Each &each) requires requires {
    track.sheetPath;
}
{ each(track.song, track.offset, track.sheetPath); }

template <typename Read, typename Each>
void ForMembers(Read &read, const Each &each) requires requires {
    read.behindEnd;
}
{
    each(*read.result.song, read.result.warning, read.tracks, read.behindEnd,
         read.isOwnSheetUnusable, read.work.known.id, read.work.known.isSplit);
}

class Packer {
  public:
    explicit Packer(std::string &out) : out_(out) {}

    template <typename... Members>
    void operator()(const Members &...members) const {
        (One(members), ...);
    }

  private:
    template <Number N>
    void One(N number) const {
        if constexpr (std::is_same_v<N, bool>) {
            out_ += number ? "1;" : "0;";
        } else {
            std::array<char, 32> digits;
            out_.append(digits.data(),
                        std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr);
            out_ += ';';
        }
    }
    void One(const std::string &text) const {
        One(text.size());
        out_ += text;
    }
    template <typename T>
    void One(const std::optional<T> &value) const {
        One(value.has_value());
        if (value) {
            One(*value);
        }
    }
    template <typename T>
    void One(const std::vector<T> &list) const {
        One(list.size());
        for (const T &item : list) {
            One(item);
        }
    }
    template <typename T>
    void One(const T &value) const requires std::is_class_v<T> {
        ForMembers(value, *this);
    }

    std::string &out_;
};

class Unpacker {
  public:
    explicit Unpacker(std::string_view &rest) : rest_(rest) {}

    template <typename... Members>
    void operator()(Members &...members) const {
        (One(members), ...);
    }

  private:
    template <Number N>
    void One(N &number) const {
        std::conditional_t<std::is_same_v<N, bool>, int, N> value{};
        const auto [end, error] = std::from_chars(rest_.data(), rest_.data() + rest_.size(), value);
        if (error != std::errc() || end == rest_.data() + rest_.size() || *end != ';') {
            throw std::logic_error("a packed song is damaged");
        }
        number = static_cast<N>(value);
        rest_.remove_prefix(static_cast<std::size_t>(end - rest_.data()) + 1);
    }
    void One(std::string &text) const {
        const auto size = Get<std::size_t>();
        text = rest_.substr(0, size);
        rest_.remove_prefix(text.size());
    }
    template <typename T>
    void One(std::optional<T> &value) const {
        if (Get<bool>()) {
            One(value.emplace());
        }
    }
    template <typename T>
    void One(std::vector<T> &list) const {
        for (auto left = Get<std::size_t>(); left > 0; --left) {
            One(list.emplace_back());
        }
    }
    template <typename T>
    void One(T &value) const requires std::is_class_v<T> {
        ForMembers(value, *this);
    }

    template <typename N>
    N Get() const {
        N number{};
        One(number);
        return number;
    }

    std::string_view &rest_;
};

}  // namespace

std::string Pack(const ReadWork &read) {
    std::string text;
    ForMembers(read, Packer(text));
    return text;
}

ReadWork Unpack(std::string_view text) {
    ReadWork read;
    Song &song = read.result.song.emplace();
    ForMembers(read, Unpacker(text));
    read.work.path = song.path;
    read.work.size = song.size;
    read.work.modified = song.modified;
    read.work.userid = song.userid;
    return read;
}

}  // namespace varnindex
