// The walk over the indexed folders: in come their paths, out come files with their facts, and what
// could not be looked at, in the byte order of their paths. Nothing of a file is read here.
#pragma once

#include <set>
#include <utility>

#include "varnindex/observe/file_facts.h"
#include "varnindex/observe/links.h"
#include "varnindex/read/sheets.h"
#include "varnindex/stop.h"

namespace varnindex {

// True for a file name, without its folder, that the caller wants to see.
using NameFilter = bool (*)(std::string_view name);

// Absolute paths without "." and "..", double slashes and a slash at the end, each once, without
// those that lie below another one, in the order in which the walk takes them. Links stay as they
// are: the library knows files by the configured path.
std::vector<std::string> OrderedFolders(const std::vector<std::string> &folders);

// Walks folders depth first. The finds come in the byte order of their paths, over all folders, as
// long as the folders come from OrderedFolders. Links are followed as links.h tells, but in a home
// not to what others own. Names that are passed over (file_names.h) are not looked at; of anything
// else only regular files and folders are ever opened.
// Only the entries of the folders on the way down are held in memory, and no descriptor stays open.
class Walk {
  public:
    // The folders are those of the library or parts of them. Parts are walked as in a walk of all:
    // not at all where that does not go. The library outlives the walk.
    Walk(std::vector<std::string> folders, NameFilter wanted, LinkedFolders &library,
         StopQuestion isStopped = nullptr);

    // Takes these folders, with all that is in them, for empty if they can be read. Before Next.
    void TakeForEmpty(std::set<std::string> folders) { withoutMusic_ = std::move(folders); }

    // The next find; none at the end. `isStopped` is asked at every entry of a folder, most of
    // which are no finds: then Stopped is thrown.
    std::optional<Found> Next();

  private:
    // A folder may have a hundred thousand of them.
    struct Entry {
        std::string name;  // of a folder with "/" after it
        Found::Kind kind = Found::Kind::kFile;
        bool isFolder = false;  // to go down into
        bool isLink = false;    // the same: a link leads to it
        int error = 0;          // why it could not be looked at
        std::int64_t size = 0;
        std::int64_t modified = 0;
        SeenFile seen = {};

        Found At(std::string path) const;
    };
    struct Level {
        std::string path;  // with "/" at its end
        Way way;
        std::vector<Entry> entries = {};  // the next one at the back
        std::shared_ptr<FolderSheets> sheets = {};
        bool hasAttributes = false;
        unsigned requiredOwner = 0;  // of all that is in it (links.h)
        unsigned homeOwner = 0;      // the same
    };

    std::optional<Found> EnterRoot(const std::string &path);
    std::optional<Found> Enter(const std::string &path, const Way &way);
    bool LookAt(int folder, const char *name, bool isLink, const Level &level, struct stat &info,
                unsigned &requiredOwner) const;
    bool IsWithoutMusic(const std::string &folder) const;
    static std::shared_ptr<FolderSheets> SheetsAmong(const std::vector<Entry> &entries,
                                                     const std::string &folder);
    void AddEntry(int folder, const char *name, unsigned char type, Level &level) const;
    std::optional<Found> Take(const Entry &entry);

    std::vector<std::string> folders_;  // the next one at the back
    NameFilter wanted_;
    LinkedFolders &library_;
    StopQuestion isStopped_;
    std::vector<Level> levels_;
    std::set<std::string> withoutMusic_;
};

}  // namespace varnindex
