// Writing a queue file piece by piece: a long queue is some hundred MB of records.
#pragma once

#include <string>

#include "varn/descriptor.h"
#include "varn/mediaindex.h"

namespace varnplayer {

// Makes or replaces a queue file in the form of tonvale/playlists.h. The one that is there stays,
// its lock held, until the new one is whole, which is written beside it. Every call throws Refused
// when it fails.
class QueueWriter {
  public:
    explicit QueueWriter(const std::string &path);
    ~QueueWriter();
    QueueWriter(const QueueWriter &) = delete;
    QueueWriter &operator=(const QueueWriter &) = delete;

    void Add(const VARN_MEDIA_INFO &song);

    // Puts the file in its place. Without this nothing is left of it.
    void Finish();

  private:
    QueueWriter(const std::string &path, varn::UniqueFd before);
    void Write(const void *block, std::size_t size);

    std::string path_;
    std::string temporary_;  // in the same folder; "" once it is in its place
    varn::UniqueFd before_;  // what is there until then, if anything is
    varn::UniqueFd file_;
};

}  // namespace varnplayer
