// A page of a list as a data object, which is written as it is read.
#pragma once

#include <json/value.h>

#include <cstdint>
#include <functional>
#include <string>
#include <utility>

#include "service/base/json_text.h"

namespace tonvale_service {

// The object has the members of Head, and the list.
class Page {
  public:
    // `list` is the name of the list in the object; `total` is the length of the whole list.
    Page(std::string list, int offset, int64_t total);
    virtual ~Page() = default;
    Page(const Page &) = delete;
    Page &operator=(const Page &) = delete;

    // A few more of the list's objects, as an array; none at the end.
    virtual Json::Value Next() = 0;

    // The version of the library that the page shows (Version::Text); "" when that is not known.
    // With an equal one, an equal request and equal settings give the same page.
    const std::string &Shows() const { return shows_; }
    void SetShows(std::string version) { shows_ = std::move(version); }

    const std::string &ListName() const { return list_; }
    Json::Value &Head() { return head_; }
    int Offset() const { return head_["offset"].asInt(); }
    int64_t Total() const { return head_["total"].asInt64(); }

  private:
    std::string list_;
    std::string shows_;
    Json::Value head_{Json::objectValue};
};

// Where a page ends in a list of `total` entries; limit 0 means at the end of the list.
int64_t EndOfPage(int offset, int limit, int64_t total);

// Gives the object's text to `write` as it is read; false when that gives false. Throws what Next
// throws: at its first call nothing is written yet, later the object is broken off.
bool WritePage(Page &page, Letters letters,
               const std::function<bool(const std::string &text)> &write);

}  // namespace tonvale_service
