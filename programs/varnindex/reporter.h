// What a person sees of a scan while it runs: a progress bar and warnings.
#pragma once

#include <chrono>
#include <cstddef>
#include <ostream>
#include <string>
#include <string_view>

#include "varn/scan_state.h"

namespace varnindex {

class Reporter {
  public:
    enum class Detail {
        kBrief,  // the first 20 warnings, then their number
        kAll,
    };

    // `out` outlives the reporter. The bar is drawn only on a terminal.
    Reporter(std::ostream &out, bool isTerminal, Detail detail);
    ~Reporter();
    Reporter(const Reporter &) = delete;
    Reporter &operator=(const Reporter &) = delete;

    // From now on others are told of the scan; null: no longer.
    void Publish(varn::scan::Publisher *publisher) { publisher_ = publisher; }

    void Warn(std::string_view text);

    // From now on each change is a line "what path" in `list`, which outlives the reporter.
    void ListChanges(std::ostream &list) { list_ = &list; }
    bool ListsChanges() const { return list_ != nullptr; }
    void Tell(std::string_view what, std::string_view path);

    // Starts a phase, "Looking" or "Indexing", of `total` files; 0 when that is not known.
    void StartPhase(std::string_view name, std::size_t total);
    // Counts one file. Draws now and then.
    void Step();

    // Removes the bar and tells how many warnings were left out.
    void Finish();

  private:
    using Clock = std::chrono::steady_clock;

    void Draw(Clock::time_point now);
    void ClearBar();

    std::ostream &out_;
    std::ostream *list_ = nullptr;
    varn::scan::Publisher *publisher_ = nullptr;
    bool isTerminal_;
    Detail detail_;
    std::size_t warnings_ = 0;
    std::string phase_;
    std::size_t total_ = 0;
    std::size_t done_ = 0;
    bool barShown_ = false;
    Clock::time_point started_;
    Clock::time_point drawn_;
};

}  // namespace varnindex
