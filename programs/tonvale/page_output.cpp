#include "page_output.h"

#include <cinttypes>
#include <cstdio>

namespace tonvale_cli {

using tonvale_service::Letters;

void PrintPage(const Table &table, int offset, int64_t shown, int64_t total, const Noun &noun) {
    const char *name = total == 1 ? noun.one : noun.many;
    if (shown == 0) {
        std::printf("0 of %" PRId64 " %s\n", total, name);
        return;
    }
    table.Print();
    std::printf("%" PRId64 "-%" PRId64 " of %" PRId64 " %s\n", int64_t{offset} + 1, offset + shown,
                total, name);
}

// That the output takes everything is looked at where the program ends.
void PrintJson(tonvale_service::Page &page) {
    WritePage(page, Letters::kUtf8,
              [](const std::string &text) { return std::fputs(text.c_str(), stdout) >= 0; });
    std::fputs("\n", stdout);
}

void PrintJson(const Json::Value &json) {
    std::fputs((tonvale_service::JsonText(json, Letters::kUtf8) + "\n").c_str(), stdout);
}

}  // namespace tonvale_cli
