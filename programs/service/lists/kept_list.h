// Lists that are computed once for each change of the library.
//
// The order of a list is kept in a file below the root, for all processes of the package, with the
// version of the library that it was computed from. Pages and totals are cut from it. The file
// takes its name when it is whole, and is never changed. Once the library has changed, an order is
// of no use; texts may serve for some seconds more (song_texts.h). Where no file can be written,
// each list is computed anew.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "service/lists/list.h"

namespace tonvale_service {

// A state of the library: two equal ones have the same songs and folders, and the same stars of the
// user. Without `songs` nothing is known.
struct Version {
    std::optional<std::int64_t> songs = {};
    std::int64_t stars = 0;

    bool operator==(const Version &) const = default;
    std::string Text() const;  // "" when nothing is known
};

// Columns that tell the version that a statement sees; and the version in such rows.
std::string VersionColumns(uid_t uid);
Version VersionOf(const Tonvale::MediaHandle &rows);

// The version that a user sees now; nothing is known when the database does not answer.
Version ReadVersion(uid_t uid);

// The version of a user's favourites, as it stands after Version::Text where they are shown.
std::string FavouritesVersion(uid_t uid);

// Which list: everything that decides its order but the library. `isOfUser`: each user has one of
// their own, even of the shared library.
struct ListKey {
    ListKey(const char *list, const ListRequest &request, const std::string &condition,
            const std::string &order, bool isOfUser);
    // A list of the whole library, the same for all users.
    ListKey(const char *list, const std::string &order);

    std::string text;
    uid_t uid;
};

// Ends the mapping of a file of so many bytes.
struct Unmap {
    std::size_t size = 0;
    void operator()(const char *start) const;
};

// A list as it is kept, of any version. It stays as it is while this object lives.
class KeptList {
  public:
    // Nothing when the list is not kept.
    static std::optional<KeptList> Of(const ListKey &key);

    std::size_t Count() const { return count_; }
    // A record, by its place from 0 on; good as long as this object.
    std::string_view operator[](std::size_t record) const;
    // The first record from `first` on that has these bytes; Count() when there is none.
    std::size_t Find(std::string_view bytes, std::size_t first) const;
    const Version &OfVersion() const { return version_; }
    std::int64_t Computed() const { return computed_; }  // when, in seconds since 1970
    std::int64_t Age() const;  // in seconds; the largest number for a time that is still to come

  private:
    KeptList() = default;
    std::size_t BeginOf(std::size_t record) const;

    std::unique_ptr<const char, Unmap> file_;
    const char *places_ = nullptr;
    std::string_view records_;
    std::size_t count_ = 0;
    Version version_;
    std::int64_t computed_ = 0;
};

// A part of a list: its records, and how long the whole list is.
struct ListPart {
    std::vector<std::string> records = {};
    std::int64_t total = 0;
    Version version = {};       // of the library that it was computed from
    std::int64_t computed = 0;  // when, seconds since 1970
    bool isYoung = false;       // it was computed a moment ago
};

// A part as it is kept, of any version; nothing when the list is not kept. Limit 0 means all.
std::optional<ListPart> KeptPart(const ListKey &key, int offset, int limit);

// Computes a list and keeps it; the version is unknown when the library changed meanwhile.
using Compute = std::function<std::vector<std::string>()>;
ListPart ComputePart(const ListKey &key, int offset, int limit, const Compute &compute);

// Keeps a list that was computed from this version, which is known.
void Keep(const ListKey &key, const Version &version, const std::vector<std::string> &records);

}  // namespace tonvale_service
