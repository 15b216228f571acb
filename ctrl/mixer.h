// Sound cards by their number, and the mixers they have.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace Tonvale::ctrl {

inline constexpr int kHighestCard = 7;

// A card's device: "/dev/mixer3" for card 3 and the stem "/dev/mixer", the bare stem for card 0.
std::string CardDevice(std::string_view stem, int card);

// An open mixer.
class Mixer {
  public:
    // Empty when the card has no mixer that opens for reading.
    static std::optional<Mixer> Open(int card);

    Mixer(Mixer &&other) noexcept;
    Mixer &operator=(Mixer &&) = delete;
    ~Mixer();

    // The channel that stands for the card's volume.
    static constexpr int kUnreadable = -1;  // the device did not tell what it has
    static constexpr int kNone = -2;        // it has no channel at all
    int VolumeChannel() const;

    // 0-100 for each side. False when the device refuses.
    bool Read(int channel, int &left, int &right) const;
    bool Write(int channel, int left, int right) const;

  private:
    explicit Mixer(int fd) : fd_(fd) {}

    int fd_;
};

// The highest card whose mixer opens, or -1.
int FindCard();

}  // namespace Tonvale::ctrl
