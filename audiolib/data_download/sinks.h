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

// A file that is made or overwritten.
class FileSink : public Sink {
  public:
    explicit FileSink(const char *path) : path_(path) {}
    bool Restart() override;
    bool Write(std::string_view bytes) override;
    // Closes the file; false when that shows that it is not whole.
    bool Close();

  private:
    const char *path_;
    varn::File file_;
};

// Removes a file that can be written, but no device or folder under its name.
void RemoveRegular(const char *path) noexcept;

}  // namespace Tonvale::download
