// Writing a queue file piece by piece: a long queue is some hundred MB of records.
#pragma once

#include <string>

#include "descriptor.h"
#include "varn/mediaindex.h"

namespace varnplayer {

// Makes or overwrites a queue file in the form of tonvale/playlists.h, with its lock held. What is
// not finished is removed. Every call throws Refused when it fails.
class QueueWriter {
  public:
    explicit QueueWriter(const std::string &path);
    ~QueueWriter();
    QueueWriter(const QueueWriter &) = delete;
    QueueWriter &operator=(const QueueWriter &) = delete;

    void Add(const VARN_MEDIA_INFO &song);
    void Finish();

  private:
    void Write(const void *block, std::size_t size);

    std::string path_;
    Descriptor file_;
    bool isWhole_ = false;
};

}  // namespace varnplayer
