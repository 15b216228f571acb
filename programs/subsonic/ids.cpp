#include "ids.h"

#include <algorithm>
#include <charconv>

namespace tonvale_subsonic {

using namespace tonvale_service;

namespace {

// FNV-1a with 64 bits: clients keep identifiers, so that this never changes.
std::uint64_t HashOf(std::string_view text, std::uint64_t hash = 0xCBF29CE484222325U) {
    for (const char c : text) {
        hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3U;
    }
    return hash;
}

std::string IdOf(std::string_view prefix, std::uint64_t hash) {
    std::string id = std::string(prefix) + std::string(16, '0');
    for (auto digit = id.rbegin(); hash != 0; ++digit, hash >>= 4) {
        *digit = "0123456789abcdef"[hash & 0xFU];
    }
    return id;
}

}  // namespace

std::uint64_t AlbumHash(std::string_view album, std::string_view albumArtist) {
    // No tag holds a null byte.
    return HashOf(albumArtist, HashOf({"\0", 1}, HashOf(album)));
}

std::uint64_t ArtistHash(std::string_view name) {
    return HashOf(FoldedName(std::string(name)));
}

std::uint64_t HashAt(const AlbumList &albums, std::size_t place) {
    return AlbumHash(albums.Text(place, AlbumFacts::kName),
                     albums.Text(place, AlbumFacts::kAlbumArtist));
}

std::uint64_t HashAt(const ArtistList &artists, std::size_t place) {
    return ArtistHash(artists.Text(place, ArtistFacts::kName));
}

std::string AlbumId(std::string_view album, std::string_view albumArtist) {
    return IdOf(kAlbumPrefix, AlbumHash(album, albumArtist));
}

std::string ArtistId(std::string_view name) {
    return IdOf(kArtistPrefix, ArtistHash(name));
}

std::optional<std::uint64_t> HashIn(std::string_view prefix, std::string_view id) {
    std::uint64_t hash = 0;
    const std::string_view digits = id.substr(std::min(prefix.size(), id.size()));
    std::from_chars(digits.data(), digits.data() + digits.size(), hash, 16);
    return IdOf(prefix, hash) == id ? std::optional(hash) : std::nullopt;
}

}  // namespace tonvale_subsonic
