#include "page_output.h"

#include <cinttypes>
#include <cstdio>

namespace tonvale_cli {

void PrintPage(const Table &table, int offset, int64_t shown, int64_t total, const Noun &noun) {
    const char *name = total == 1 ? noun.one : noun.many;
    if (shown == 0) {
        std::printf("0 of %" PRId64 " %s\n", total, name);
        return;
    }
    std::fputs(table.Text(TerminalWidth()).c_str(), stdout);
    std::printf("%" PRId64 "-%" PRId64 " of %" PRId64 " %s\n", int64_t{offset} + 1, offset + shown,
                total, name);
}

std::unique_ptr<Json::StreamWriter> JsonWriter() {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    builder["precision"] = 7;  // what the length's 32-bit number holds
    return std::unique_ptr<Json::StreamWriter>(builder.newStreamWriter());
}

}  // namespace tonvale_cli
