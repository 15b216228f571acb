// Text for a terminal: what it may hold, and how wide it is there.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "service/base/text.h"

namespace tonvale_cli {

using tonvale_service::ValidUtf8;

// Text that a terminal only shows: U+FFFD also stands for control characters, line breaks included,
// and for those that turn the direction of writing.
std::string Printable(std::string_view text);

// A table of texts, aligned by their width on a terminal.
class Table {
  public:
    struct Column {
        std::string head;
        bool right = false;     // numbers stand on the right
        bool flexible = false;  // may be cut where the table is too wide
    };
    explicit Table(std::vector<Column> columns);

    // The cells of a row, made printable.
    void AddRow(std::vector<std::string> cells);

    // Prints the table with its heads, cut to the width of a terminal.
    void Print() const;

  private:
    // 0 cuts nothing.
    std::string Text(int width) const;
    std::vector<int> Widths(int width) const;

    std::vector<Column> columns_;
    std::vector<std::vector<std::string>> rows_;
};

}  // namespace tonvale_cli
