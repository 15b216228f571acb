// Where a download goes: a text in memory, or a file.
#pragma once

#include <string>

#include "data_download/transfer.h"
#include "varn/handles.h"

namespace Tonvale::download {

class TextSink : public Sink {
  public:
    explicit TextSink(std::string &text) : text_(text) {}
    bool Restart() override {
        text_.clear();
        return true;
    }
    bool Write(std::string_view bytes) override {
        text_.append(bytes);
        return true;
    }

  private:
    std::string &text_;
};

// A file that is made or overwritten, and that goes with the sink unless it was kept.
class FileSink : public Sink {
  public:
    explicit FileSink(const char *path) : path_(path) {}
    ~FileSink() override;
    FileSink(const FileSink &) = delete;
    FileSink &operator=(const FileSink &) = delete;

    bool Restart() override;
    bool Write(std::string_view bytes) override;
    // Closes the file; false when that shows that it is not whole.
    bool Keep();

  private:
    const char *path_;
    varn::File file_;
    bool kept_ = true;  // there is nothing to remove before it was opened
};

// Removes a file, but no device or folder under its name.
void RemoveRegular(const char *path) noexcept;

}  // namespace Tonvale::download
