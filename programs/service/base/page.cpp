#include "service/base/page.h"

#include <algorithm>
#include <sstream>

#include "service/base/text.h"

namespace tonvale_service {

Page::Page(std::string list, int offset, int64_t total) : list_(std::move(list)) {
    head_["offset"] = offset;
    head_["total"] = Json::Int64{total};
}

int64_t EndOfPage(int offset, int limit, int64_t total) {
    return limit > 0 ? std::min(int64_t{offset} + limit, total) : total;
}

JsonWriter::JsonWriter(Letters letters) : letters_(letters) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = letters == Letters::kUtf8;
    builder["precision"] = 7;  // what the library's 32-bit numbers hold
    writer_.reset(builder.newStreamWriter());
}

std::string JsonWriter::Text(const Json::Value &value) const {
    std::ostringstream text;
    writer_->write(value, &text);
    return letters_ == Letters::kUtf8 ? ValidUtf8(text.str()) : text.str();
}

bool WritePage(Page &page, Letters letters,
               const std::function<bool(const std::string &text)> &write) {
    const JsonWriter writer(letters);
    Json::Value part = page.Next();
    std::string head = writer.Text(page.Head());
    head.pop_back();
    bool good = write(head + ",\"" + page.ListName() + "\":[");
    const char *separator = "";
    for (; good && !part.empty(); part = page.Next()) {
        for (const Json::Value &object : part) {
            good = good && write(separator + writer.Text(object));
            separator = ",";
        }
    }
    return good && write("]}");
}

}  // namespace tonvale_service
