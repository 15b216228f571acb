// Archives that are made while they are sent: ZIP files (APPNOTE 6.3) whose entries are stored as
// they are, so that the length is known before the first byte.
#pragma once

#include <cstdint>
#include <ctime>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "varn/descriptor.h"

namespace tonvale_service {

// Names in an archive that every system can unpack beside one another.
class ZipNames {
  public:
    // A path with slashes as a name: relative, in UTF-8, without "." and "..", and without the
    // characters and names that some systems refuse. A name that was given before, in any case of
    // its letters from A to Z, gets a number.
    std::string Add(std::string_view path);

  private:
    std::map<std::string, int> given_;  // in lower case, with the last number
};

// One part of such a path.
std::string SafeFileName(std::string_view name);

struct ZipEntry {
    std::string name;  // from ZipNames
    uint64_t size = 0;
    std::time_t modified = 0;
};

// Zip64 is used only where sizes or numbers need it.
class ZipStream {
  public:
    explicit ZipStream(std::vector<ZipEntry> entries) : entries_(std::move(entries)) {}

    // The bytes of the whole archive.
    uint64_t Length() const;

    // Gives the archive to `write`, piece by piece. `open` gives the file of an entry by its place;
    // it is read from its beginning. False when `write` gives false, and when a file is not there
    // or is shorter than its entry says: then the archive is broken off.
    using Write = std::function<bool(std::string_view bytes)>;
    using Open = std::function<varn::UniqueFd(std::size_t place)>;
    bool Send(const Write &write, const Open &open) const;

  private:
    std::vector<ZipEntry> entries_;
};

}  // namespace tonvale_service
