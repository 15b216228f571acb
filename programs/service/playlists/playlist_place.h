// The files of playlists, opened without leaving the folders of playlists and music.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <filesystem>
#include <string>

#include "service/base/failure.h"
#include "service/playlists/playlist_target.h"
#include "varn/descriptor.h"

namespace tonvale_service {

// The folder of a collection's playlists, held open: whatever is put in its place afterwards, it
// stays the one that was looked at. Its members work with root's rights. All throw a Failure.
class PlaylistFolder {
  public:
    // The folder of a playlist of the collection. Refused where links lead out of what the
    // collection may lie in: see MayHoldPlaylistsOf and OpenPlaylistFolder.
    PlaylistFolder(const Collection &collection, const std::filesystem::path &folder);

    // The folder for new playlists, which is made where it is missing.
    static PlaylistFolder ForNew(const Collection &collection);

    // True when there is surely no such folder.
    static bool IsGone(const std::filesystem::path &folder);

    const std::filesystem::path &Path() const { return path_; }

    // It is a Failure when the folder has a playlist of a name already, in any format.
    void CheckIsFree(const std::string &name) const;

    // Makes an empty file, which belongs to whom the folder does. A name that is taken is a
    // Failure.
    varn::UniqueFd Make(const std::string &file) const;

    // Gives a file another name, which must be free. The reason tells what it was for.
    void Move(const std::string &from, const std::string &to, Reason reason) const;

    // Removes a file; false when there is none.
    bool Remove(const std::string &file) const;

    // What has a name, as in st_mode; 0 when the name is free.
    mode_t KindOf(const std::string &name) const;
    bool Has(const std::string &name) const { return KindOf(name) != 0; }

    int Get() const { return folder_.Get(); }

  private:
    PlaylistFolder(varn::UniqueFd folder, std::filesystem::path path);

    varn::UniqueFd folder_;
    std::filesystem::path path_;
};

// A playlist, held open. Links are refused, and in a user's own collection the files of other
// users; for a file that is not there the Failure is that there is no such playlist. A file that is
// not the user's own is shown only when the user may read it, and changed only when all may write
// it; for root (Collection::isForRoot) that is not asked.
class HeldPlaylist {
  public:
    enum class Use { kShow, kChange };

    HeldPlaylist(const Collection &collection, const std::string &path, Use use = Use::kShow);

    // For the library's calls, while this object lives.
    std::string Path() const { return varn::DescriptorPath(file_.Get()); }

    // When it was changed, and its size.
    struct stat Status() const;

    // A hash of what the file holds now. Its size and time would not do: a list whose songs change
    // places keeps its size, times have steps of milliseconds or seconds, and some programs set
    // them back.
    std::string State() const;

    // What the file holds now. A Failure while somebody else writes it.
    std::string Contents() const;

  private:
    friend class KeptCopy;

    PlaylistFolder folder_;
    std::string path_;
    varn::UniqueFd file_;
};

// A copy of a playlist, a hidden file beside it, for the time of a change: the library empties a
// list before it writes it anew. It goes with the object. The next change of the list replaces what
// a process that was killed has left.
class KeptCopy {
  public:
    // A Failure when there is no room for it, and while somebody else writes the playlist.
    explicit KeptCopy(const HeldPlaylist &list);
    ~KeptCopy();
    KeptCopy(const KeptCopy &) = delete;
    KeptCopy &operator=(const KeptCopy &) = delete;

    // Puts the copy in the playlist's place, which takes no room on the disk. Where that fails the
    // copy stays, with a log line.
    void PutBack();

  private:
    const PlaylistFolder &folder_;
    std::string list_;
    std::string name_;
    bool isOurs_ = true;  // to remove
};

// Holds a playlist open to read it. One that has another name since it was looked up is looked up
// once more, and `playlist` is as it is called now.
HeldPlaylist HoldToRead(const Collection &collection, Playlist &playlist);

}  // namespace tonvale_service
