// Any bytes as a server's answer: the decoder agrees with a plain one, and each node of the parser
// has a value for every key that it lists.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "dlna/entities.h"
#include "require.h"
#include "tonvale/dlna.h"

namespace {

// The slow and obvious form of the decoder.
std::string Decoded(std::string_view text) {
    constexpr std::pair<std::string_view, char> kEntities[] = {
        {"&amp;", '&'}, {"&apos;", '\''}, {"&gt;", '>'},
        {"&lt;", '<'},  {"&nbsp;", ' '},  {"&quot;", '"'},
    };
    std::string decoded;
    for (std::size_t at = 0; at < text.size();) {
        std::size_t length = 1;
        char character = text[at];
        for (const auto &[name, meaning] : kEntities) {
            if (text.substr(at, name.size()) == name) {
                length = name.size();
                character = meaning;
            }
        }
        decoded += character;
        at += length;
    }
    return decoded;
}

void CheckNodes(const ItemList &list) {
    for (const auto &node : list.nodes()) {
        for (std::size_t i = 0; i < node->values.size(); ++i) {
            const auto [key, value] = node->values.at(i);
            Require(i == 0 || node->values.at(i - 1).first < key, "keys are sorted");
            Require(!key.empty(), "no key is empty");
            Require(value.empty() || node->getValueByKey(std::string(key)) == value,
                    "its own value comes first");
        }
        if (node->children) {
            Require(!node->children->nodes().empty(), "a list of child nodes has one");
            CheckNodes(*node->children);
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    std::string text(reinterpret_cast<const char *>(data), size);
    const std::string expected = Decoded(text);
    DMAParser raw;
    const int result = raw.Parse(text.data(), static_cast<int>(text.size()));
    Require(result == 0 || (raw.items.nodes().empty() && raw.containers.nodes().empty()),
            "what is no document gives nothing");
    Tonvale::dlna::DecodeEntities(text);
    Require(text == expected, "every entity is decoded once");
    DMAParser decoded;
    decoded.Parse(text.data(), static_cast<int>(text.size()));
    for (const DMAParser *parser : {&raw, &decoded}) {
        CheckNodes(parser->containers);
        CheckNodes(parser->items);
    }
    return 0;
}
