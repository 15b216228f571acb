#include "ids.h"

#include <cstdint>

#include "service/listening/favourites.h"

namespace tonvale_subsonic {

namespace {

// FNV-1a with 64 bits: clients keep identifiers, so that this never changes.
std::string HashOf(std::string_view text) {
    std::uint64_t hash = 0xCBF29CE484222325U;
    for (const char c : text) {
        hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3U;
    }
    std::string digits(16, '0');
    for (auto digit = digits.rbegin(); digit != digits.rend(); ++digit, hash >>= 4) {
        *digit = "0123456789abcdef"[hash & 0xFU];
    }
    return digits;
}

}  // namespace

std::string AlbumId(std::string_view album, std::string_view albumArtist) {
    // No tag holds a null byte.
    return std::string(kAlbumPrefix) + HashOf(std::string(album) + '\0' + std::string(albumArtist));
}

std::string ArtistId(std::string_view name) {
    return std::string(kArtistPrefix) + HashOf(tonvale_service::FoldedName(std::string(name)));
}

}  // namespace tonvale_subsonic
