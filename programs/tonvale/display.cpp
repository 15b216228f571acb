#include "display.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <clocale>
#include <cstdio>
#include <cwchar>

namespace tonvale_cli {

namespace {

constexpr char kReplacement[] = "\xEF\xBF\xBD";  // U+FFFD
constexpr char kEllipsis[] = "\xE2\x80\xA6";     // U+2026, one column wide
constexpr std::string_view kGap = "  ";
constexpr int kNarrowest = 8;  // of a column that is cut

struct Character {
    std::string_view bytes;
    wchar_t code = 0;
    bool valid = false;
};

// Takes the first character, or a single byte that begins none, off the front of a text.
Character TakeCharacter(std::string_view &text) {
    static const bool isUtf8 = std::setlocale(LC_CTYPE, "C.UTF-8") != nullptr;
    Character character;
    std::mbstate_t state{};
    std::size_t length = std::mbrtowc(&character.code, text.data(), text.size(), &state);
    character.valid = isUtf8 && length <= text.size() && length > 0;
    if (!character.valid) {
        length = 1;
    }
    character.bytes = text.substr(0, length);
    text.remove_prefix(length);
    return character;
}

// Marks and overrides that turn the direction of what follows, beyond the cell that holds them.
bool TurnsDirection(wchar_t code) {
    return (code >= 0x202A && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069) ||
           code == 0x200E || code == 0x200F || code == 0x061C;
}

int WidthOf(std::string_view text) {
    int width = 0;
    while (!text.empty()) {
        width += std::max(wcwidth(TakeCharacter(text).code), 0);
    }
    return width;
}

// As much of a text as `width` columns hold, with an ellipsis where something is missing.
std::string Cut(std::string_view text, int width) {
    if (WidthOf(text) <= width) {
        return std::string(text);
    }
    std::string shown;
    int used = 1;  // the ellipsis
    while (!text.empty()) {
        const Character character = TakeCharacter(text);
        used += std::max(wcwidth(character.code), 0);
        if (used > width) {
            break;
        }
        shown += character.bytes;
    }
    return shown + kEllipsis;
}

// The width of the terminal that the standard output is, or 0 when it is none.
int TerminalWidth() {
    winsize size{};
    const bool isTerminal = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0;
    return isTerminal ? size.ws_col : 0;
}

}  // namespace

std::string Printable(std::string_view text) {
    std::string printable;
    while (!text.empty()) {
        const Character character = TakeCharacter(text);
        const bool shows =
            character.valid && wcwidth(character.code) >= 0 && !TurnsDirection(character.code);
        printable += shows ? character.bytes : kReplacement;
    }
    return printable;
}

Table::Table(std::vector<Column> columns) : columns_(std::move(columns)) {}

void Table::AddRow(std::vector<std::string> cells) {
    std::transform(cells.begin(), cells.end(), cells.begin(), Printable);
    rows_.push_back(std::move(cells));
}

std::vector<int> Table::Widths(int width) const {
    std::vector<int> widths;
    int total = -static_cast<int>(kGap.size());
    for (std::size_t i = 0; i < columns_.size(); ++i) {
        int widest = WidthOf(columns_[i].head);
        for (const std::vector<std::string> &row : rows_) {
            widest = std::max(widest, WidthOf(row[i]));
        }
        widths.push_back(widest);
        total += widest + static_cast<int>(kGap.size());
    }
    // The widest gives first, so that short columns stay whole as long as possible.
    for (; width > 0 && total > width; --total) {
        int *widest = nullptr;
        for (std::size_t i = 0; i < columns_.size(); ++i) {
            if (columns_[i].flexible && (widest == nullptr || widths[i] > *widest)) {
                widest = &widths[i];
            }
        }
        if (widest == nullptr || *widest <= kNarrowest) {
            break;
        }
        --*widest;
    }
    return widths;
}

std::string Table::Text(int width) const {
    const std::vector<int> widths = Widths(width);
    std::string text;
    const auto addLine = [&](const auto &cellOf) {
        std::string line;
        for (std::size_t i = 0; i < columns_.size(); ++i) {
            const std::string cell = Cut(cellOf(i), widths[i]);
            const std::string blanks(static_cast<std::size_t>(widths[i] - WidthOf(cell)), ' ');
            line += i > 0 ? kGap : "";
            line += columns_[i].right ? blanks + cell : cell + blanks;
        }
        text.append(line, 0, line.find_last_not_of(' ') + 1).append("\n");
    };
    addLine([this](std::size_t i) { return columns_[i].head; });
    for (const std::vector<std::string> &row : rows_) {
        addLine([&row](std::size_t i) { return row[i]; });
    }
    return text;
}

void Table::Print() const {
    std::fputs(Text(TerminalWidth()).c_str(), stdout);
}

}  // namespace tonvale_cli
