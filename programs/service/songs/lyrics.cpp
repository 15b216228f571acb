#include "service/songs/lyrics.h"

#include <json/reader.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "service/base/failure.h"
#include "service/base/text.h"
#include "service/songs/song_file.h"
#include "tonvale/webapi.h"
#include "varn/process.h"
#include "varn/run_as.h"
#include "varn/text.h"

namespace tonvale_service {

namespace {

namespace fs = std::filesystem;

// The lyrics of a few languages, and what JSON adds.
constexpr std::size_t kMostAnswer = 16 * kMostLyricsBytes;

struct Close {
    void operator()(std::FILE *stream) const { VLIBCPclose(stream); }
};

// What tonvale-lyrics prints about an open file; "" where it could not read it.
std::string AskProgram(int file) {
    const varn::RunAs root(varn::Who::kRoot);
    const fs::path programs = fs::read_symlink("/proc/self/exe").parent_path();
    std::array words = {
        (programs / "tonvale-prober").string(),
        "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(file),
        (programs / "tonvale-lyrics").string(),
    };
    std::array<char *, 4> argv = {words[0].data(), words[1].data(), words[2].data(), nullptr};
    std::unique_ptr<std::FILE, Close> stream(VLIBCPopenv(argv[0], "r", argv.data()));
    std::string answer;
    std::array<char, 65536> block;
    for (std::size_t got = 1; stream && got > 0 && answer.size() < kMostAnswer;) {
        got = std::fread(block.data(), 1, block.size(), stream.get());
        answer.append(block.data(), got);
    }
    const int status = stream ? VLIBCPclose(stream.release()) : -1;
    if (status == -1 || (WIFEXITED(status) && WEXITSTATUS(status) == 127)) {
        syslog(LOG_ERR, "%s cannot be run.", words[2].c_str());
    }
    return status == 0 ? answer : "";
}

std::string TextIn(const Json::Value &object, const char *name) {
    return object.isObject() && object[name].isString() ? object[name].asString() : "";
}

std::vector<LyricsLine> TimedLines(const Json::Value &lines) {
    std::vector<LyricsLine> timed;
    for (const Json::Value &line : lines) {
        if (line.isObject() && line["start"].isInt64() && timed.size() < kMostLyricsLines) {
            timed.push_back({line["start"].asInt64(), ValidUtf8(TextIn(line, "text"))});
        }
    }
    return timed;
}

// The program decodes what users put there, so that its answer is looked at as theirs.
std::optional<Lyrics> LyricsIn(const Json::Value &object) {
    Lyrics lyrics;
    if (object.isObject() && object["lines"].isArray()) {
        lyrics.isTimed = true;
        lyrics.lines = TimedLines(object["lines"]);
    } else {
        lyrics = ParseLyrics(varn::ToUtf8(TextIn(object, "text")));
    }
    const std::string language = TextIn(object, "language");
    if (lyrics.language == kUnknownLanguage && language != "xxx" && IsUtf8(language) &&
        !language.empty()) {
        lyrics.language = language;
    }
    return lyrics.lines.empty() ? std::nullopt : std::optional(lyrics);
}

std::vector<Lyrics> OfTags(const SongFile &song) {
    std::vector<Lyrics> found;
    const std::string answer = AskProgram(song.file.Get());
    Json::Value read;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    if (!answer.empty() &&
        reader->parse(answer.data(), answer.data() + answer.size(), &read, nullptr) &&
        read.isArray()) {
        for (const Json::Value &object : read) {
            if (auto lyrics = LyricsIn(object)) {
                found.push_back(std::move(*lyrics));
            }
        }
    }
    return found;
}

// Of a file beside the song with another extension. Who can write there cannot have a file told
// that its owner keeps from others.
std::optional<Lyrics> OfFile(const VARN_MEDIA_INFO &song, const SongFile &sound,
                             const char *extension) try {
    const SongFile file =
        OpenSongFile(song.userid, fs::path(song.path).replace_extension(extension));
    const auto size = static_cast<std::size_t>(file.info.st_size);
    if ((file.info.st_uid != sound.info.st_uid && (file.info.st_mode & S_IROTH) == 0) ||
        size > kMostLyricsBytes) {
        return std::nullopt;
    }
    std::string text(size, '\0');
    const ssize_t got = pread(file.file.Get(), text.data(), size, 0);
    text.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    Lyrics lyrics = ParseLyrics(varn::ToUtf8(text));
    return lyrics.lines.empty() ? std::nullopt : std::optional(lyrics);
} catch (const Failure &) {
    return std::nullopt;  // there is none
}

}  // namespace

std::vector<Lyrics> LyricsOf(const VARN_MEDIA_INFO &song) {
    if (IsVirtualMusic(&song)) {
        return {};
    }
    const SongFile file = OpenSongFile(song);
    std::vector<Lyrics> all;
    if (auto lyrics = OfFile(song, file, ".lrc")) {
        all.push_back(std::move(*lyrics));
    }
    std::vector<Lyrics> tagged = OfTags(file);
    std::stable_partition(tagged.begin(), tagged.end(),
                          [](const Lyrics &lyrics) { return lyrics.isTimed; });
    std::move(tagged.begin(), tagged.end(), std::back_inserter(all));
    if (auto lyrics = OfFile(song, file, ".txt")) {
        all.push_back(std::move(*lyrics));
    }
    return all;
}

Json::Value LyricsObjects(const std::vector<Lyrics> &all) {
    Json::Value objects(Json::arrayValue);
    for (const Lyrics &lyrics : all) {
        Json::Value &object = objects.append(Json::objectValue);
        object["language"] = lyrics.language;
        object["timed"] = lyrics.isTimed;
        object["lines"] = Json::Value(Json::arrayValue);
        for (const LyricsLine &line : lyrics.lines) {
            Json::Value &told = object["lines"].append(Json::objectValue);
            told["text"] = line.text;
            if (line.start) {
                told["start"] = Json::Int64(*line.start);
            }
        }
    }
    return objects;
}

}  // namespace tonvale_service
