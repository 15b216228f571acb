// The header of the encoder's WAV output. The encoder cannot go back on a pipe to fill the lengths
// in, so they are put in here.
#pragma once

#include <array>
#include <cstdint>
#include <cstdio>
#include <span>

namespace Tonvale::transcode {

class WavHeader {
  public:
    static constexpr std::size_t kMostSize = 512;

    // Reads the header, up to the first byte of sound, and puts in the lengths for `dataLength`
    // bytes of sound; a length of 0 or less leaves it as the encoder wrote it. False, with a log
    // line, when the encoder ends before or writes a header that is no such thing.
    bool Read(std::FILE *encoder, int64_t dataLength);

    // Makes it as many bytes of silence.
    void Silence() { bytes_ = {}; }

    std::span<const unsigned char> Bytes() const { return std::span(bytes_).first(size_); }

  private:
    std::array<unsigned char, kMostSize> bytes_{};
    std::size_t size_ = 0;
};

}  // namespace Tonvale::transcode
