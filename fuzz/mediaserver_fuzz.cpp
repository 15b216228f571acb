// Any bytes as another machine's answer to a search, its description, or a refusal. An address that
// is taken from them is one of HTTP, and texts are clean.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "mediaserver/description.h"
#include "mediaserver/ssdp.h"
#include "require.h"

namespace {

using namespace mediaserver;

bool IsTrimmed(const std::string &text) {
    constexpr std::string_view kBlank = " \t\r\n";
    return text.empty() ||
           (kBlank.find(text.front()) == kBlank.npos && kBlank.find(text.back()) == kBlank.npos);
}

void CheckAnswer(const std::string &text) {
    const auto location = LocationOf(text);
    Require(LocationOf(text + "\nX: 1") == location, "a line more changes nothing");
    if (location) {
        Require(text.find(*location) != text.npos, "an address is the answer's");
        Require(location->find_first_of(std::string_view("\0\n", 2)) == location->npos,
                "an address is one line");
        Require(IsTrimmed(*location), "an address stands alone");
    }
}

void CheckDescription(const std::string &text) {
    const auto server = ReadDescription(text, "http://192.0.2.7:8200/rootDesc.xml");
    if (!server) {
        return;
    }
    Require(server->controlUrl.starts_with("http://") || server->controlUrl.starts_with("https://"),
            "a service is at an address of HTTP");
    for (const std::string *part : {&server->name, &server->model, &server->udn}) {
        Require(IsTrimmed(*part) && part->find('\0') == part->npos, "a text is clean");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string text(reinterpret_cast<const char *>(data), size);
    CheckAnswer(text);
    CheckDescription(text);
    const auto fault = ReadFault(text);
    Require(!fault || text.find("Fault") != text.npos, "a refusal says so");
    return 0;
}
