#include "service/base/page.h"

#include <algorithm>

namespace tonvale_service {

Page::Page(std::string list, int offset, int64_t total) : list_(std::move(list)) {
    head_["offset"] = offset;
    head_["total"] = Json::Int64{total};
}

int64_t EndOfPage(int offset, int limit, int64_t total) {
    return limit > 0 ? std::min(int64_t{offset} + limit, total) : total;
}

bool WritePage(Page &page, Letters letters,
               const std::function<bool(const std::string &text)> &write) {
    Json::Value part = page.Next();
    std::string head = JsonText(page.Head(), letters);
    head.pop_back();
    bool good = write(head + ",\"" + page.ListName() + "\":[");
    const char *separator = "";
    for (; good && !part.empty(); part = page.Next()) {
        for (const Json::Value &object : part) {
            good = good && write(separator + JsonText(object, letters));
            separator = ",";
        }
    }
    return good && write("]}");
}

}  // namespace tonvale_service
