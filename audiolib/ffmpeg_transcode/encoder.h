// The encoder: a program whose standard output is read.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "varn/handles.h"
#include "varn/process.h"

namespace Tonvale::transcode {

// What is read and written at a time, where it is not moved as it is.
inline constexpr std::size_t kCopyBlock = 4096;

// The encoder's arguments, its own name not among them.
using Arguments = std::vector<std::string>;

// A running encoder; closing it ends and reaps the program, whatever it is doing.
using Encoder = std::unique_ptr<std::FILE, varn::Releaser<VLIBCPclose>>;

// Starts the encoder as root. Null, with errno as the failure left it, when it cannot be started.
Encoder Launch(const Arguments &arguments);

// Each of these notices that standard output's reader leaves, even while the encoder is silent.

// Reads as much as `block` holds. False, with a log line, when the encoder ends before, or the
// reader leaves.
bool ReadWhole(std::FILE *encoder, std::span<unsigned char> block);

// Reads and drops bytes. False, with a log line, when the encoder ends before or the reader leaves.
bool Discard(std::FILE *encoder, int64_t bytes);

// Copies to standard output, past its buffer, until the encoder ends or, with a limit that is not
// negative, so many bytes are through. False, with a log line, when standard output takes no more.
bool CopyToOutput(std::FILE *encoder, int64_t limit);

// Writes to standard output. False, with a log line, when it does not take everything.
bool WriteOutput(std::span<const unsigned char> block);

// Hands on what standard output still holds back. False, with a log line, when that fails.
bool FlushOutput();

}  // namespace Tonvale::transcode
