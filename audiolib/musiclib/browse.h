// What the lists of groups share: artists, albums, and one column's values.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>

#include "musiclib/query.h"
#include "varn/handles.h"

namespace Tonvale::musiclib {

// The tracks that a list groups.
struct Library {
    const char *kind;
    uid_t uid;
};

// True, with a log line, for a null kind or the user id that means nobody.
bool IsBad(const Library &library);

// The frame of the exported calls: what `body` makes of a good library; `failure` for a bad one, or
// when `body` throws.
template <typename Result, typename Body>
Result Answer(const Library &library, Result failure, const Body &body,
              int line = __builtin_LINE()) noexcept {
    return IsBad(library) ? failure
                          : support::Guarded(
                                kSource, failure, [&] { return body(library); }, line);
}

// The track view with the given side tables and those that one of the texts names (null: none), a
// row for each genre of a track where genres are joined. False, with a log line, when there is no
// such view.
bool BrowseView(const Library &library, JoinFlags flags, std::initializer_list<const char *> texts,
                std::string &out);

// A page of a statement's rows; null, with a log line, also when `statement` is null because it
// could not be built.
MEDIA_DB_HANDLE *OpenList(const varn::Text &statement, int offset, int limit);

// The field "result_count" of a statement's first row; -1, with a log line, in the same cases.
int64_t CountList(const varn::Text &statement);

}  // namespace Tonvale::musiclib
