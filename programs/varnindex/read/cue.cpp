#include "varnindex/read/cue.h"

#include <algorithm>
#include <functional>
#include <set>
#include <utility>

#include "varn/number.h"
#include "varn/text.h"
#include "varnindex/observe/file_names.h"
#include "varnindex/read/names.h"

// A parser of our own, where libcue would be at hand: sheets are written by people and by many
// programs, and libcue 2.2.1 refuses a sheet for one line that it does not know, lets an open quote
// swallow the lines that follow, gives tracks of a sheet with several files to the wrong one,
// prints to standard error, says no reason, and keeps its state in globals while files are read in
// parallel.

namespace varnindex {
namespace {

constexpr int kMaxTracks = 999;
constexpr int kMaxMinutes = 9999;
constexpr std::string_view kBlanks(" \t\0", 3);

std::string_view Trim(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
    return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

// Takes the first word off a trimmed text and leaves the trimmed rest.
std::string_view TakeWord(std::string_view &text) {
    const std::string_view word = text.substr(0, text.find_first_of(kBlanks));
    text = Trim(text.substr(word.size()));
    return word;
}

// The text between the outermost quotes; quotes inside belong to it, one that is missing is not
// missed.
std::string_view Unquoted(std::string_view text) {
    if (text.starts_with('"')) {
        text.remove_prefix(1);
        return text.substr(0, text.rfind('"'));
    }
    return text;
}

// The name of a FILE line, whose last word is the type: "a b.wav" WAVE, or a b.wav WAVE.
std::string_view FileName(std::string_view rest) {
    if (rest.starts_with('"') && rest.rfind('"') > 0) {
        return Unquoted(rest);
    }
    const std::size_t blank = rest.find_last_of(kBlanks);
    if (blank != std::string_view::npos && rest.find('.', blank) == std::string_view::npos) {
        rest = Trim(rest.substr(0, blank));
    }
    rest.remove_prefix(rest.starts_with('"') ? 1 : 0);
    rest.remove_suffix(rest.ends_with('"') ? 1 : 0);
    return rest;
}

std::optional<int> Number(std::string_view digits, int most) {
    const auto value = varn::WholeNumber<int>(digits);
    return value && *value <= most ? value : std::nullopt;
}

// "mm:ss:ff" in frames.
std::optional<int> Time(std::string_view text) {
    const std::size_t first = text.find(':');
    const std::size_t second = first == text.npos ? first : text.find(':', first + 1);
    if (second == text.npos) {
        return std::nullopt;
    }
    const auto minutes = Number(text.substr(0, first), kMaxMinutes);
    const auto seconds = Number(text.substr(first + 1, second - first - 1), 59);
    const auto frames = Number(text.substr(second + 1), kCueFramesPerSecond - 1);
    return minutes && seconds && frames
               ? std::optional((*minutes * 60 + *seconds) * kCueFramesPerSecond + *frames)
               : std::nullopt;
}

// The first group of four digits: "1998", "1998-05-01", "01.05.1998".
int Year(std::string_view text) {
    constexpr std::string_view kDigits = "0123456789";
    while (true) {
        text.remove_prefix(std::min(text.find_first_of(kDigits), text.size()));
        const std::size_t length = std::min(text.find_first_not_of(kDigits), text.size());
        if (length == 4 || length == 0) {
            return Number(text.substr(0, length), 9999).value_or(0);
        }
        text.remove_prefix(length);
    }
}

// The first one counts: what follows is more often an addition of another program.
void Keep(std::string &field, std::string &&text) {
    if (field.empty()) {
        field = std::move(text);
    }
}

class Parser {
  public:
    CueResult Parse(std::string_view text);

  private:
    void ReadLine(std::string_view line);
    void ReadRemark(std::string_view rest);
    void ReadFile(std::string_view rest);
    void ReadTrack(std::string_view rest);
    void ReadIndex(std::string_view rest);

    void Place(int start);
    void EndTrack();
    void Finish();
    void Refuse(std::string reason);
    std::string LineName() const { return "line " + std::to_string(line_) + ": "; }
    std::string TrackName() const { return "track " + std::to_string(track_.number); }

    CueSheet sheet_;
    std::set<std::string, std::less<>> names_;  // of its files
    std::string composer_;                      // of all tracks that name none
    std::string problem_;                       // empty while the sheet is good
    int line_ = 0;
    int tracks_ = 0;

    // The track whose lines are read. It belongs to the file that was named last before its
    // INDEX 01: where gaps were appended to the file before, that is not the one before its TRACK.
    CueTrack track_;
    bool inTrack_ = false;
    bool isAudio_ = false;
    bool hasStart_ = false;
    int previousNumber_ = 0;  // of the last track that began in this file, of any type
    int previousStart_ = -1;
    std::size_t placedIn_ = 0;
};

void Parser::Refuse(std::string reason) {
    if (problem_.empty()) {
        problem_ = std::move(reason);
    }
}

void Parser::ReadRemark(std::string_view rest) {
    const std::string key = Lower(TakeWord(rest));
    const std::string_view value = Unquoted(rest);
    if (key == "composer") {
        Keep(inTrack_ ? track_.composer : composer_, CleanName(value));
    } else if (inTrack_) {
        return;  // what is said of one track does not hold for the sheet
    } else if (key == "genre") {
        Keep(sheet_.genre, CleanName(value));
    } else if (key == "comment") {
        Keep(sheet_.comment, CleanComment(value));
    } else if (key == "date" && sheet_.year == 0) {
        sheet_.year = Year(value);
    }
}

void Parser::ReadFile(std::string_view rest) {
    const std::string_view name = FileName(rest);
    if (name.empty()) {
        return Refuse(LineName() + "FILE without a name");
    }
    auto &files = sheet_.files;
    if (!files.empty() && files.back().name == name) {
        return;  // some programs repeat the line for every track
    }
    if (!names_.emplace(name).second) {
        return Refuse(LineName() + "a FILE that was left comes again");
    }
    files.push_back({std::string(name), {}});
    previousStart_ = -1;
}

void Parser::ReadTrack(std::string_view rest) {
    EndTrack();
    const auto number = Number(TakeWord(rest), kMaxTracks);
    if (!number) {
        return Refuse(LineName() + "TRACK without a number up to " + std::to_string(kMaxTracks));
    }
    if (++tracks_ > kMaxTracks) {
        return Refuse("more than " + std::to_string(kMaxTracks) + " tracks");
    }
    const std::string type = Lower(TakeWord(rest));
    track_ = CueTrack{};
    track_.number = *number;
    inTrack_ = true;
    isAudio_ = type.empty() || type == "audio";
    hasStart_ = false;
    if (sheet_.files.empty()) {
        Refuse(TrackName() + " has no FILE line before it");
    }
}

void Parser::ReadIndex(std::string_view rest) {
    const auto number = Number(TakeWord(rest), 99);
    const auto time = Time(rest);
    if (!inTrack_) {
        return Refuse(LineName() + "INDEX without a TRACK line before it");
    }
    if (!number || !time) {
        return Refuse(TrackName() + " has an INDEX that is no number and time");
    }
    if (*number == 1) {
        Place(*time);
    }
}

void Parser::Place(int start) {
    if (hasStart_) {
        return Refuse(TrackName() + " has two INDEX 01");
    }
    if (start <= previousStart_) {
        return Refuse(TrackName() + " does not begin after track " +
                      std::to_string(previousNumber_));
    }
    track_.start = start;
    hasStart_ = true;
    placedIn_ = sheet_.files.size() - 1;
    previousStart_ = start;
    previousNumber_ = track_.number;
}

void Parser::EndTrack() {
    if (inTrack_ && isAudio_ && problem_.empty()) {
        if (hasStart_) {
            sheet_.files[placedIn_].tracks.push_back(std::move(track_));
        } else {
            Refuse(TrackName() + " has no INDEX 01");
        }
    }
    inTrack_ = false;
}

void Parser::ReadLine(std::string_view line) {
    std::string_view rest = Trim(line);
    const std::string word = Lower(TakeWord(rest));
    if (word == "title") {
        Keep(inTrack_ ? track_.title : sheet_.title, CleanName(Unquoted(rest)));
    } else if (word == "performer") {
        Keep(inTrack_ ? track_.performer : sheet_.performer, CleanName(Unquoted(rest)));
    } else if (word == "songwriter" || word == "composer") {
        Keep(inTrack_ ? track_.composer : composer_, CleanName(Unquoted(rest)));
    } else if (word == "rem") {
        ReadRemark(rest);
    } else if (word == "file") {
        ReadFile(rest);
    } else if (word == "track") {
        ReadTrack(rest);
    } else if (word == "index") {
        ReadIndex(rest);
    }
}

void Parser::Finish() {
    EndTrack();
    if (sheet_.files.empty()) {
        Refuse("no FILE line");
    } else if (tracks_ == 0) {
        Refuse("no TRACK line");
    }
    std::erase_if(sheet_.files, [](const CueFile &file) { return file.tracks.empty(); });
    if (sheet_.files.empty()) {
        Refuse("no audio track");
    }
    for (CueFile &file : sheet_.files) {
        for (CueTrack &track : file.tracks) {
            Keep(track.composer, std::string(composer_));
        }
    }
}

CueResult Parser::Parse(std::string_view text) {
    while (!text.empty() && problem_.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        ++line_;
        ReadLine(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    Finish();
    if (!problem_.empty()) {
        return {std::nullopt, std::move(problem_)};
    }
    return {std::move(sheet_), {}};
}

}  // namespace

CueResult ParseCue(std::string_view bytes) {
    if (bytes.size() > kMaxCueBytes) {
        return {std::nullopt, "larger than 1 MiB"};
    }
    return Parser().Parse(varn::ToUtf8(bytes));
}

}  // namespace varnindex
