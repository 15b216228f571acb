// Which files the entries of a playlist mean.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace varn::playlist {

// Tells which files are there.
class Files {
  public:
    // With `music` the process looks with root's rights for another account: of what is not really
    // below one of these folders it tells what the package's account sees, and no more.
    explicit Files(std::optional<std::vector<std::string>> music = {});

    bool Has(const std::string &path);

    // Asks as the package's account for the files that were not told of, all at once. True when Has
    // now tells of one.
    bool AskAsPackage();

  private:
    std::string RealPlace(const std::string &path);
    bool IsInMusic(const std::string &path);

    std::optional<std::vector<std::string>> music_;
    std::unordered_map<std::string, std::string> realFolders_;  // as written -> as it is
    std::unordered_set<std::string> withheld_;
    std::unordered_set<std::string> seen_;  // by the package's account
};

// Resolves entries against the file system as it is now. What it has seen of folders it remembers.
class Places {
  public:
    // `folder` holds the playlist; tails of foreign paths are looked for below `roots`. Absolute.
    Places(std::string folder, std::vector<std::string> roots, Files &files);

    // The absolute path of an entry, the URL of a remote one. An entry that names nothing here
    // becomes the path that it would be in the playlist's folder.
    std::string Resolve(std::string_view entry);

    // True when the entry, taken as it is written, is a file.
    bool IsThere(std::string_view entry) const;

  private:
    std::string Absolute(std::string_view path) const;
    std::optional<std::string> FindTail(std::string_view path);
    std::optional<std::string> Find(const std::string &path);
    std::optional<std::string> FindFile(const std::string &path);
    const std::string &FindFolder(const std::string &path);

    std::string folder_;
    std::vector<std::string> roots_;
    Files &files_;
    std::unordered_map<std::string, std::string> folders_;  // as written -> as it is; "": none
};

}  // namespace varn::playlist
