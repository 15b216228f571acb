// By which paths the indexer knows files that are reached through links.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace varn::playlist {

// The places around one playlist, as they are now. An indexed folder, the music of a home and a
// folder below them may be links: their files stand in the library by the links' paths.
class IndexedPaths {
  public:
    // `list` is the path of a playlist, or of a descriptor of one (DescriptorPath). It need not
    // exist. May ask the library database, for a playlist that is reached through a link below an
    // indexed folder.
    explicit IndexedPaths(const std::string &list);

    // The folder of the playlist, as the indexer knows it and with all links followed.
    const std::string &Folder() const { return folder_; }
    const std::string &RealFolder() const { return realFolder_; }

    // The indexed folders as they are configured.
    const std::vector<std::string> &Roots() const { return roots_; }

    // The real paths of the indexed folders, and of the music of the user whose list this is by its
    // place.
    std::vector<std::string> Music() const;

    // The path under which an absolute path is indexed, if anywhere. Only links to folders are
    // followed: a file that is a link is indexed as itself.
    std::string Of(const std::string &path);

  private:
    // A folder's real path, and the path that stands for it in the library.
    struct Place {
        std::string real;
        std::string indexed;
    };

    std::optional<std::string> InRoot(std::string_view real, std::string_view preferred) const;
    std::string NameOfFolder(const std::string &list);
    const std::string &OfFolder(const std::string &folder);

    std::vector<std::string> roots_;
    std::vector<Place> places_;  // the roots, then what leads to the playlist
    std::string realFolder_;
    std::string folder_;
    std::unordered_map<std::string, std::string> known_;  // folders, as asked for and as indexed
    const std::pair<const std::string, std::string> *last_ = nullptr;  // the one asked for last
};

}  // namespace varn::playlist
