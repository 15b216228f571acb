// Any bytes as a key=value file: every edit reads back, and touches nothing else.
#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "linux/keytext.h"
#include "require.h"

namespace {

namespace keytext = varn::keytext;

// What must not change when `key` does.
std::vector<std::string> OtherEntries(std::string_view text, std::string_view key) {
    std::vector<std::string> others;
    for (const keytext::Entry &entry : keytext::Parse(text)) {
        if (entry.key != key) {
            others.push_back(entry.key + '=' + entry.value);
        }
    }
    return others;
}

void CheckKey(std::string_view text, const std::string &key) {
    const auto others = OtherEntries(text, key);
    // The file itself is as hostile a value as any.
    const std::string edited = keytext::Set(text, key, text);
    Require(keytext::Find(edited, key) == text, "a value that was set reads back");
    Require(OtherEntries(edited, key) == others, "setting a key keeps the others");
    Require(keytext::Set(edited, key, text) == edited, "setting a key twice changes nothing");

    const std::string removed = keytext::Remove(edited, key);
    Require(!keytext::Find(removed, key), "a key that was removed is gone");
    Require(OtherEntries(removed, key) == others, "removing a key keeps the others");
    Require(keytext::Remove(removed, key) == removed, "removing a key twice changes nothing");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    constexpr std::size_t kMostKeys = 8;  // each takes several passes over the text
    const std::string_view text(reinterpret_cast<const char *>(data), size);
    std::vector<std::string> keys = {"new key"};
    for (const keytext::Entry &entry : keytext::Parse(text)) {
        const auto found = keytext::Find(text, entry.key);
        Require(found.has_value(), "a key that was parsed is found");
        if (keys.size() < kMostKeys && keytext::IsValidKey(entry.key)) {
            keys.push_back(entry.key);
        }
    }
    std::for_each(keys.begin(), keys.end(), [&](const std::string &key) { CheckKey(text, key); });
    return 0;
}
