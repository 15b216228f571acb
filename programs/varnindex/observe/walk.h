// The walk over the indexed folders.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "varnindex/observe/file_facts.h"
#include "varnindex/observe/home_links.h"
#include "varnindex/observe/links.h"

#include "varnindex/read/sheets.h"
#include "varnindex/stop.h"

namespace varnindex {

// One find of the walk: of a file its facts but for the owner, of anything else the path; with "/"
// at its end it stands for everything below that folder.
struct Found : FileFacts {
    enum class Kind {
        kFile,     // a regular file of a wanted name
        kBlocked,  // what is at `path` could not be looked at
        kAbsent,   // a link leads nowhere
        kEmpty,    // a folder has nothing in it; a disk may be missing there
        kRefused,  // a name that the library cannot hold, or another owner's through a link
    };

    Kind kind = Kind::kFile;
    std::string reason = {};  // for a person, of all kinds but kFile
};

// True for a file name, without its folder, that the caller wants to see.
using NameFilter = bool (*)(std::string_view name);

// Absolute paths without "." and "..", double slashes and a slash at the end, each once, without
// those that lie below another one, in the order in which the walk takes them. Links stay as they
// are: the library knows files by the configured path.
std::vector<std::string> OrderedFolders(const std::vector<std::string> &folders);

// Walks folders depth first. The finds come in the byte order of their paths, over all folders, as
// long as the folders come from OrderedFolders. Links are followed, but not into what lies in these
// folders anyway or what another link has led to. Names that are passed over (file_names.h) are not
// looked at; of anything else only regular files and folders are ever opened.
// Only the entries of the folders on the way down are held in memory, and no descriptor stays open.
class Walk {
  public:
    // With `library` the folders are parts of it, and are walked as a walk of all of it would: not
    // at all where that does not go. It outlives the walk.
    Walk(std::vector<std::string> folders, NameFilter wanted, LinkedFolders *library = nullptr,
         StopQuestion isStopped = nullptr);

    // Takes these folders for empty, with all that is in them, where they can be read. Before Next.
    void TakeForEmpty(std::set<std::string> folders) { withoutMusic_ = std::move(folders); }

    // Refuses what others own where a link leads out of a home. Before Next; it outlives the
    // walk.
    void Heed(HomeLinks &homes) { homes_ = &homes; }

    // The next find; none at the end. `isStopped` is asked at every entry of a folder, most of
    // which are no finds: then Stopped is thrown.
    std::optional<Found> Next();

    // Behind the last find of a walk of all folders.
    LinkChoices TakeLinks() { return std::move(links_); }

  private:
    struct Entry {
        std::string key;  // the name, of a folder with "/" after it: the order of the walk
        std::optional<Found::Kind> kind = {};  // none: a folder to go down into
        std::string reason = {};
        bool isLink = false;
        std::int64_t size = 0;
        std::int64_t modified = 0;
        SeenFile seen = {};
    };
    struct Level {
        std::string path;  // with "/" at its end
        dev_t device;
        ino_t inode;
        std::vector<Entry> entries;  // the next one at the back
        std::shared_ptr<FolderSheets> sheets = {};
        bool hasAttributes = false;
        bool isLinked = false;       // reached through a link
        unsigned requiredOwner = 0;  // of all that is in it (home_links.h)
        unsigned homeOwner = 0;      // the same
    };
    enum class Behind { kGoesOn, kLeftOut, kRefused };
    enum class Reached { kAsRoot, kDirectly, kThroughLink };

    std::optional<Found> EnterRoot(const std::string &path);
    std::optional<Found> Enter(const std::string &path, Reached reached);
    Behind LookBehindLink(const std::string &path, Reached reached, const struct stat &info,
                          bool isForeign);
    bool LookAt(int folder, const char *name, bool isLink, const Level &level, struct stat &info,
                unsigned &requiredOwner) const;
    bool IsLinkedRoot(const std::string &path);
    bool IsWithoutMusic(const std::string &path, Reached reached) const;
    bool IsWholeRoot(const std::string &path) const;
    static std::shared_ptr<FolderSheets> SheetsAmong(const std::vector<Entry> &entries,
                                                     const std::string &folder);
    bool IsOnTheWay(dev_t device, ino_t inode) const;
    void AddEntry(int folder, const char *name, unsigned char type, Level &level) const;
    std::optional<Found> Take(Entry entry);

    std::vector<std::string> folders_;  // the next one at the back
    std::vector<std::string> roots_;    // of the library
    NameFilter wanted_;
    LinkedFolders *library_;
    HomeLinks *homes_ = nullptr;
    StopQuestion isStopped_;
    std::optional<RealRoots> realRoots_;  // once there is a link
    std::vector<Level> levels_;
    std::set<std::pair<dev_t, ino_t>> seen_;  // folders reached through links
    LinkChoices links_;
    std::set<std::string> withoutMusic_;
};

}  // namespace varnindex
