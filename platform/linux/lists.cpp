#include <algorithm>
#include <climits>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "linux/error.h"

namespace {

// What stands after every PVLIBSZLIST.
struct StringList : VLIBSZLIST {
    std::vector<std::string> entries;
    bool sorted = false;  // by VLIBCSzListSort, and nothing pushed since
};

StringList &Inside(PVLIBSZLIST list) {
    return *static_cast<StringList *>(list);
}
const StringList &Inside(const VLIBSZLIST *list) {
    return *static_cast<const StringList *>(list);
}

// All of the entries or, when it throws, none.
void Append(StringList &list, std::vector<std::string> added) {
    if (added.empty()) {
        return;
    }
    if (added.size() > INT_MAX - list.entries.size()) {
        throw std::bad_alloc();
    }
    const std::size_t wanted = list.entries.size() + added.size();
    if (wanted > list.entries.capacity()) {
        list.entries.reserve(std::max(wanted, 2 * list.entries.capacity()));
    }
    std::move(added.begin(), added.end(), std::back_inserter(list.entries));
    list.nItem = static_cast<int>(wanted);
    list.sorted = false;
}

std::vector<std::string> Tokens(std::string_view text, std::string_view delims) {
    std::vector<std::string> tokens;
    for (std::size_t at = text.find_first_not_of(delims); at != text.npos;
         at = text.find_first_not_of(delims, at)) {
        const std::size_t end = std::min(text.find_first_of(delims, at), text.size());
        tokens.emplace_back(text.substr(at, end - at));
        at = end;
    }
    return tokens;
}

}  // namespace

PVLIBSZLIST VLIBCSzListAlloc(int initBytes) {
    return varn::Guarded<PVLIBSZLIST>(nullptr, [&] {
        // The hint is only that: a wild one must not take memory that no text will fill.
        constexpr int kTypicalEntryBytes = 64;
        constexpr int kMostReserved = 1024;
        auto list = std::make_unique<StringList>();
        list->entries.reserve(std::clamp(initBytes / kTypicalEntryBytes, 0, kMostReserved));
        return list.release();
    });
}

void VLIBCSzListFree(PVLIBSZLIST list) {
    const std::unique_ptr<StringList> adopted(static_cast<StringList *>(list));
}

int VLIBCSzListPush(PVLIBSZLIST *list, const char *text) {
    if (list == nullptr || *list == nullptr || text == nullptr) {
        varn::SetError(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    return varn::Guarded(-1, [&] {
        Append(Inside(*list), {text});
        return (*list)->nItem;
    });
}

const char *VLIBCSzListGet(const VLIBSZLIST *list, int index) {
    if (list == nullptr || index < 0 || index >= list->nItem) {
        varn::SetError(VLIB_ERR_BAD_PARAMETER);
        return nullptr;
    }
    return Inside(list).entries[static_cast<std::size_t>(index)].c_str();
}

int VLIBCSzListSort(PVLIBSZLIST list) {
    if (list == nullptr) {
        varn::SetError(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    // Entries that compare equal are the same bytes, so a plain sort keeps every visible order.
    std::sort(Inside(list).entries.begin(), Inside(list).entries.end());
    Inside(list).sorted = true;
    return 0;
}

int VLIBCSzListFind(const VLIBSZLIST *list, const char *text) {
    if (list == nullptr || text == nullptr) {
        varn::SetError(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    const std::string_view wanted(text);
    const auto &entries = Inside(list).entries;
    const auto found = Inside(list).sorted ? std::lower_bound(entries.begin(), entries.end(),
                                                              wanted, std::less<std::string_view>())
                                           : std::find(entries.begin(), entries.end(), wanted);
    if (found == entries.end() || *found != wanted) {
        varn::SetError(VLIB_ERR_NOT_FOUND);
        return -1;
    }
    return static_cast<int>(found - entries.begin());
}

int VLIBCStrTok(const char *text, const char *delims, PVLIBSZLIST *out) {
    if (text == nullptr || delims == nullptr || out == nullptr || *out == nullptr) {
        varn::SetError(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    return varn::Guarded(-1, [&] {
        auto tokens = Tokens(text, delims);
        const int count = static_cast<int>(tokens.size());
        Append(Inside(*out), std::move(tokens));
        return count;
    });
}
