// The audio files of a folder: in comes how a cue sheet names one, out goes its name.
#pragma once

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
    // By forms of names, each with a mark in front that tells which form it is; "" for a form that
    // several names have.
    std::unordered_map<std::string, std::string> names_;
};

}  // namespace varnindex
