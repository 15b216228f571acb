// The rules of smart playlists, and the SQL conditions that they become.
#pragma once

#include <string>
#include <vector>

#include "linux/smart_lexer.h"
#include "varn/playlistsvc.h"

namespace varn::smart {

struct Field;

// Reads the playlists of a text. After a mistake it goes on after that playlist's "}".
class Parser {
  public:
    explicit Parser(std::string_view text) : text_(text), lexer_(text), token_(lexer_.Next()) {}

    SmartPlaylistFile File();

  private:
    // A rule's own mistake, thrown within this class only.
    struct Mistake {
        SmartPlaylistNote note;
    };

    void Playlist(SmartPlaylistFile &file);
    void Block(SmartPlaylist &playlist);
    void SkipBlock();
    void Ending(SmartPlaylist &playlist);
    void Order();

    // Each returns a condition. `depth` counts the brackets and nots round it.
    std::string AnyOf(int depth);
    std::string AllOf(int depth);
    std::string Negatable(int depth);
    std::string Test();
    std::string TextTest(const Field &field);
    std::string HasGenre(const std::string &test);
    std::string NumberTest(const Field &field);
    std::string DateTest(const Field &field);
    std::string Moment(const Field &field, bool &isDay);
    std::string Ago(const Field &field);
    const Field &TakeField();

    Token Take();
    // Takes the token when it is one of the two.
    bool Accept(std::string_view one, std::string_view other);
    void Expect(std::string_view symbol, const char *what);
    [[noreturn]] void Fail(const Token &at, const std::string &text) const;

    std::string_view text_;
    Lexer lexer_;
    Token token_;            // the next one
    std::size_t taken_ = 0;  // where the last one ends
    int tests_ = 0;          // of the playlist at hand
    int genreTests_ = 0;     // the same
};

}  // namespace varn::smart
