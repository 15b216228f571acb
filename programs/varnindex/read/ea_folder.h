// Files in the extended-attribute folders of songs. Every user may write where these folders stand:
// no link in place of a folder or a file is followed, and nothing but plain files is read.
#pragma once

#include <string_view>

#include "varnindex/descriptor.h"

namespace varnindex {

// The folder of a song; none for a path that is too long to have one.
std::optional<std::string> EaFolderOf(const std::string &path);

// What is in a file of the folder; none with errno set, also for more than `most` bytes.
std::optional<std::string> ReadEaFile(const Descriptor &folder, const std::string &name,
                                      std::size_t most);

// Writes a file that all may read beside the old one, as `temporary`, and puts it in its
// place. One process works on a song at a time, so that a file of that name that is there was left
// by one that crashed. `same` may be a file of these data that was written before: where the disk
// can, it gets another link, and else becomes the file that is written. False with errno set, and
// the old file as it was.
bool WriteEaFile(const Descriptor &folder, const std::string &name, const char *temporary,
                 std::string_view data, Descriptor *same = nullptr);

}  // namespace varnindex
