#include "varnindex/read/audio_names.h"

#include <unicode/normalizer2.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <string_view>
#include <utility>

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

// The keys of a name: as it is, without regard to case and form, and so without extension.
std::string Exact(std::string_view name) {
    return '=' + std::string(name);
}

std::string Whole(std::string_view name) {
    return '~' + Folded(name);
}

std::string Stem(std::string_view name) {
    return '.' + Folded(WithoutExtension(name));
}

}  // namespace

AudioNames::AudioNames(const std::vector<std::string> &names) {
    for (const std::string &name : names) {
        for (const std::string &key : {Exact(name), Whole(name), Stem(name)}) {
            const auto [match, isNew] = matches_.try_emplace(key, Match{name, true});
            match->second.isOnly = isNew;
        }
    }
}

// The only file with one of two keys, or with both: empty where several match, none where no file
// does.
std::optional<std::string> AudioNames::OnlyOf(const std::string &a, const std::string &b) const {
    const auto inA = matches_.find(a);
    const auto inB = matches_.find(b);
    if (inA == matches_.end() && inB == matches_.end()) {
        return std::nullopt;
    }
    const Match &first = inA != matches_.end() ? inA->second : inB->second;
    const Match &second = inB != matches_.end() ? inB->second : first;
    const bool isOnly = first.isOnly && second.isOnly && first.name == second.name;
    return isOnly ? first.name : std::string();
}

std::optional<std::string> AudioNames::Find(const std::string &entryName,
                                            const std::string &sheetName) const {
    const std::string_view base = WithoutFolders(entryName);
    const std::string_view sheet = WithoutExtension(sheetName);
    // A backslash may be part of a name; the sheet may be "album.cue", or "album.flac.cue".
    for (const auto &[a, b] : {std::pair(Exact(entryName), Exact(entryName)),
                               {Exact(base), Exact(base)},
                               {Whole(base), Whole(base)},
                               {Stem(base), '.' + Folded(base)},
                               {'.' + Folded(sheet), Whole(sheet)}}) {
        if (const auto name = OnlyOf(a, b)) {
            return name->empty() ? std::nullopt : name;
        }
    }
    return std::nullopt;
}

}  // namespace varnindex
