#include <json/value.h>
#include <json/writer.h>

#include <cstdio>
#include <string_view>

#include "linux/error.h"
#include "varn/webapi.h"

namespace {

constexpr std::string_view kJsonHeader = "Content-Type: application/json; charset=utf-8";

void WriteLine(std::string_view line) {
    std::fwrite(line.data(), 1, line.size(), stdout);
    std::fputs("\r\n", stdout);
}

std::string TextOf(const Json::Value &value, bool readable) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = readable ? "  " : "";
    builder["emitUTF8"] = false;
    return Json::writeString(builder, value) + "\n";
}

}  // namespace

WebMan::WebMan(bool readable) : readable_(readable) {}

void WebMan::WriteHeader(const char *header) {
    std::string_view rest = NonEmptyStr(header) ? header : kJsonHeader;
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find('\n'), rest.size());
        std::string_view line = rest.substr(0, end);
        rest.remove_prefix(std::min(end + 1, rest.size()));
        while (line.ends_with('\r')) {
            line.remove_suffix(1);
        }
        if (!line.empty()) {
            WriteLine(line);
        }
    }
    WriteLine("");
}

bool WebMan::WriteBody(const Json::Value &body) {
    return varn::Guarded(false, [&] {
        const std::string text = TextOf(body, readable_);
        const bool whole = std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
        if (!whole || std::fflush(stdout) != 0) {
            varn::SetSystemError();
            return false;
        }
        return true;
    });
}
