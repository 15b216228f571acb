#include "varnindex/read/named_tags.h"

#include <algorithm>
#include <array>

namespace varnindex {

void AddNamed(TagLib::Ogg::XiphComment &tags, const TagLib::String &key,
              const TagLib::String &value) {
    struct Synonym {
        const char *key;
        const char *name;
    };
    static constexpr std::array kSynonyms = {
        Synonym{"TRACK", "TRACKNUMBER"},  Synonym{"PART_NUMBER", "TRACKNUMBER"},
        Synonym{"DISC", "DISCNUMBER"},    Synonym{"DATE_RELEASED", "DATE"},
        Synonym{"DATE_RECORDED", "DATE"}, Synonym{"CREATIONDATE", "DATE"},
        Synonym{"YEAR", "DATE"},          Synonym{"AUTHOR", "ARTIST"},
        Synonym{"DISPLAYNAME", "TITLE"}};
    static const TagLib::String kQuickTime = "COM.APPLE.QUICKTIME.";
    TagLib::String name = key.upper();
    name = name.startsWith(kQuickTime) ? name.substr(kQuickTime.size()) : name;
    const auto *const synonym =
        std::find_if(kSynonyms.begin(), kSynonyms.end(),
                     [&](const Synonym &known) { return name == known.key; });
    if (!value.isEmpty()) {
        tags.addField(synonym != kSynonyms.end() ? TagLib::String(synonym->name) : name, value,
                      false);
    }
}

}  // namespace varnindex
