#include "encoder_slot.h"

#include <algorithm>
#include <thread>

#include "parameters.h"
#include "refusal.h"
#include "varn/packageconf.h"

namespace tonvale_entry {

namespace {

constexpr char kKey[] = "max_encoders";
constexpr long long kMost = 1000;

// As configured, or two for each processor and at least four: an encoder is many times faster than
// its listener, and waits most of the time.
unsigned Turns() {
    char text[16] = "";
    VARNAudioConfGet(kKey, text, sizeof text);
    const int usual = std::max(4, 2 * static_cast<int>(std::thread::hardware_concurrency()));
    return static_cast<unsigned>(ParseNumber(text, 1, kMost).value_or(usual));
}

}  // namespace

tonvale_service::Slot EncoderSlot() {
    tonvale_service::Slot slot("", Turns());
    if (slot.IsUnknown()) {
        throw Refusal{Code::kFailed};
    }
    return slot;
}

}  // namespace tonvale_entry
