#include "varnindex/read/audio_names.h"

#include <unicode/normalizer2.h>
#include <unicode/unistr.h>

#include <array>
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
    const std::size_t dot = name.rfind('.');
    const bool isExtension = dot != name.npos && dot > 0 && dot + 1 < name.size() &&
                             name.size() - dot <= 6 && name.find(' ', dot) == name.npos;
    return isExtension ? name.substr(0, dot) : name;
}

// The keys of a name: as it is, without regard to case and form, and so without extension.
std::array<std::string, 3> KeysOf(std::string_view name) {
    return {'=' + std::string(name), '~' + Folded(name), '.' + Folded(WithoutExtension(name))};
}

}  // namespace

AudioNames::AudioNames(const std::vector<std::string> &names) {
    for (const std::string &name : names) {
        for (const std::string &key : KeysOf(name)) {
            if (const auto [known, isNew] = names_.try_emplace(key, name); !isNew) {
                known->second.clear();
            }
        }
    }
}

std::optional<std::string> AudioNames::Find(const std::string &entryName,
                                            const std::string &sheetName) const {
    const std::string_view base = WithoutFolders(entryName);
    const auto [exact, whole, stem] = KeysOf(base);
    // The sheet may be "album.cue", or "album.flac.cue", and a dot be within a title.
    const std::string_view sheet = WithoutExtension(sheetName);
    for (const std::string &key : {'=' + entryName, exact, whole, stem, '.' + whole.substr(1),
                                   '~' + Folded(sheet), '.' + Folded(sheet)}) {
        if (const auto found = names_.find(key); found != names_.end()) {
            return found->second.empty() ? std::nullopt : std::optional(found->second);
        }
    }
    return std::nullopt;
}

}  // namespace varnindex
