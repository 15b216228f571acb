#include "varnindex/temp_table.h"

namespace varnindex {
namespace {

constexpr std::size_t kFullBytes = 1U << 20;

}  // namespace

void TempTable::Add(const std::string &row) {
    rows_ += row;
    rows_ += '\n';
    if (rows_.size() >= kFullBytes) {
        Flush();
    }
}

void TempTable::Make() {
    if (!std::exchange(isMade_, true)) {
        database_.Execute("CREATE TEMP TABLE " + name_ + " (" + columns_ + ")");
    }
}

bool TempTable::Flush() {
    if (rows_.empty()) {
        return isMade_;
    }
    Make();
    database_.CopyIn(("COPY " + name_ + " FROM STDIN").c_str(), rows_);
    rows_.clear();
    return true;
}

}  // namespace varnindex
