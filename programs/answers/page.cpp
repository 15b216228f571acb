#include "page.h"

#include <sstream>

namespace tonvale_answers {

namespace {

std::string TextOf(const Json::Value &value, Json::StreamWriter &writer) {
    std::ostringstream text;
    writer.write(value, &text);
    return text.str();
}

}  // namespace

Page::Page(std::string list, int offset, int64_t total) : list_(std::move(list)) {
    head_["offset"] = offset;
    head_["total"] = Json::Int64{total};
}

std::unique_ptr<Json::StreamWriter> JsonWriter(Letters letters) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = letters == Letters::kUtf8;
    builder["precision"] = 7;  // what the library's 32-bit numbers hold
    return std::unique_ptr<Json::StreamWriter>(builder.newStreamWriter());
}

bool WritePage(Page &page, Json::Value first, Letters letters, std::FILE *out) {
    const auto writer = JsonWriter(letters);
    const auto write = [&](const std::string &text) {
        return std::fwrite(text.data(), 1, text.size(), out) == text.size();
    };
    std::string head = TextOf(page.Head(), *writer);
    head.pop_back();
    bool good = write(head + ",\"" + page.ListName() + "\":[");
    const char *separator = "";
    for (Json::Value part = std::move(first); good && !part.empty(); part = page.Next()) {
        for (const Json::Value &object : part) {
            good = good && write(separator + TextOf(object, *writer));
            separator = ",";
        }
    }
    return good && write("]}");
}

}  // namespace tonvale_answers
