// The audio files of a folder, as cue sheets name them.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace varnindex {

// Names are compared in one form, which each gets once however many are looked for.
class AudioNames {
  public:
    // The names of the audio files in a sheet's folder.
    explicit AudioNames(const std::vector<std::string> &names);

    // Finds the one that a FILE line means; `sheetName` is the sheet's own name. Looks for the name
    // as it is (without the path of another system), then in another case or Unicode normal form,
    // then with another extension, as after a conversion, and last for the only file that has the
    // sheet's own base name. Several files that match equally well are no answer.
    std::optional<std::string> Find(const std::string &entryName,
                                    const std::string &sheetName) const;

  private:
    // By a name in the common form: the first file of it, and whether there are more.
    struct Match {
        std::size_t file;
        bool isOnly;
    };
    using Matches = std::unordered_map<std::string, Match>;

    struct Search {
        std::optional<std::string> found;
        bool ended = false;  // found, or several match equally well
    };

    static void Add(Matches &matches, const std::string &key, std::size_t file);
    Search OnlyOf(const Matches &a, const std::string &keyA, const Matches &b,
                  const std::string &keyB) const;

    std::vector<std::string> names_;
    Matches exact_;
    Matches whole_;  // without regard to case and form
    Matches stems_;  // the same, without extension
};

}  // namespace varnindex
