#include "varnindex/read/audio_names.h"

#include <unicode/normalizer2.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <string_view>

#include "varn/text.h"

namespace varnindex {
namespace {

// What is the same for two spellings of one name. A name that is not UTF-8 was left by a system
// with a code page.
std::string Folded(std::string_view name) {
    UErrorCode error = U_ZERO_ERROR;
    const icu::Normalizer2 *const decompose = icu::Normalizer2::getNFDInstance(error);
    const icu::Normalizer2 *const compose = icu::Normalizer2::getNFCInstance(error);
    if (U_FAILURE(error)) {
        return std::string(name);
    }
    icu::UnicodeString units = icu::UnicodeString::fromUTF8(varn::ToUtf8(name));
    units = decompose->normalize(units, error);
    units = compose->normalize(units.foldCase(), error);
    std::string folded;
    units.toUTF8String(folded);
    return U_SUCCESS(error) ? folded : std::string(name);
}

std::string_view WithoutFolders(std::string_view path) {
    return path.substr(path.find_last_of("/\\") + 1);
}

// "01. Intro.flac" -> "01. Intro"; a dot within a title is not the begin of an extension.
std::string_view WithoutExtension(std::string_view name) {
    constexpr std::size_t kLongest = 5;
    const std::size_t dot = name.rfind('.');
    if (dot == std::string_view::npos || dot == 0) {
        return name;
    }
    const std::string_view extension = name.substr(dot + 1);
    const bool usual =
        !extension.empty() && extension.size() <= kLongest &&
        std::all_of(extension.begin(), extension.end(), [](char c) {
            return (c >= '0' && c <= '9') || ((c | 0x20) >= 'a' && (c | 0x20) <= 'z');
        });
    return usual ? name.substr(0, dot) : name;
}

}  // namespace

AudioNames::AudioNames(const std::vector<std::string> &names) : names_(names) {
    for (std::size_t file = 0; file < names_.size(); ++file) {
        Add(exact_, names_[file], file);
        Add(whole_, Folded(names_[file]), file);
        Add(stems_, Folded(WithoutExtension(names_[file])), file);
    }
}

void AudioNames::Add(Matches &matches, const std::string &key, std::size_t file) {
    const auto [match, isNew] = matches.try_emplace(key, Match{file, true});
    match->second.isOnly = isNew;
}

// The only file that is in one of the two, or in both.
AudioNames::Search AudioNames::OnlyOf(const Matches &a, const std::string &keyA, const Matches &b,
                                      const std::string &keyB) const {
    const auto inA = a.find(keyA);
    const auto inB = b.find(keyB);
    if (inA == a.end() && inB == b.end()) {
        return {};
    }
    const Match &first = inA != a.end() ? inA->second : inB->second;
    const Match &second = inB != b.end() ? inB->second : first;
    const bool isOnly = first.isOnly && second.isOnly && first.file == second.file;
    return {isOnly ? std::optional(names_[first.file]) : std::nullopt, true};
}

std::optional<std::string> AudioNames::Find(const std::string &entryName,
                                            const std::string &sheetName) const {
    const std::string base(WithoutFolders(entryName));
    // A backslash may be part of a name here, too.
    for (const std::string &exact : {entryName, base}) {
        if (exact_.contains(exact)) {
            return exact;
        }
    }
    const std::string name = Folded(base);
    const std::string stem = Folded(WithoutExtension(base));
    // "album.cue", or "album.flac.cue"
    const std::string sheetStem = Folded(WithoutExtension(sheetName));
    Search search = OnlyOf(whole_, name, whole_, name);
    search = search.ended ? search : OnlyOf(stems_, stem, stems_, name);
    search = search.ended ? search : OnlyOf(stems_, sheetStem, whole_, sheetStem);
    return search.found;
}

}  // namespace varnindex
