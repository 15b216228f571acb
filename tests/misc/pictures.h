// Pictures for tests, made and looked at with the programs of the host.
#pragma once

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "varn/process.h"

namespace tonvale_test {

// Runs a program of the host and returns what it prints.
inline std::string Output(std::vector<std::string> words) {
    std::vector<char *> argv;
    for (std::string &word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    FILE *stream = VLIBCPopenv(argv.front(), "r", argv.data());
    if (stream == nullptr) {
        ADD_FAILURE() << words.front() << ": " << std::strerror(errno);
        return "";
    }
    std::string output;
    for (int c = std::fgetc(stream); c != EOF; c = std::fgetc(stream)) {
        output += static_cast<char>(c);
    }
    EXPECT_EQ(VLIBCPclose(stream), 0) << words.front();
    return output;
}

inline void Draw(const std::string &size, const std::filesystem::path &path) {
    Output({"/usr/bin/convert", "-size", size, "xc:red", path});
}

inline std::string Identify(const std::filesystem::path &path) {
    return Output({"/usr/bin/identify", "-format", "%m %wx%h", path});
}

// A number of four bytes, the highest first.
inline std::string Big(std::uint32_t number) {
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8) {
        bytes += static_cast<char>(number >> shift & 0xFF);
    }
    return bytes;
}

inline std::string Chunk(const std::string &content) {
    std::uint32_t sum = ~0U;
    for (const unsigned char byte : content) {
        sum ^= byte;
        for (int bit = 0; bit < 8; ++bit) {
            sum = sum >> 1 ^ ((sum & 1) != 0 ? 0xEDB88320U : 0);
        }
    }
    return Big(static_cast<std::uint32_t>(content.size() - 4)) + content + Big(~sum);
}

// A whole PNG of a black square, one bit for a pixel: a zero, and then as many runs of 258 more as
// it takes.
inline std::string BlackSquare(std::uint32_t side) {
    const std::uint32_t runs = side * (1 + (side + 7) / 8) / 258 + 1;
    std::string bits =
        "110"
        "00110000";  // the last block, with the fixed codes
    for (std::uint32_t i = 0; i < runs; ++i) {
        bits +=
            "11000101"
            "00000";
    }
    bits += "0000000";
    std::string zeros = "IDAT\x78\x01";
    for (std::size_t i = 0; i < bits.size(); i += 8) {
        unsigned byte = 0;
        for (std::size_t bit = 0; bit < 8 && i + bit < bits.size(); ++bit) {
            byte |= static_cast<unsigned>(bits[i + bit] - '0') << bit;
        }
        zeros += static_cast<char>(byte);
    }
    zeros += Big((1 + runs * 258) % 65521 << 16 | 1);
    return "\x89PNG\r\n\x1A\n" +
           Chunk("IHDR" + Big(side) + Big(side) + std::string("\1\0\0\0\0", 5)) + Chunk(zeros) +
           Chunk("IEND");
}

}  // namespace tonvale_test
