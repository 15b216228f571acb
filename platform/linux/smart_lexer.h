// The words of smart playlists' rules.
#pragma once

#include <string>
#include <string_view>

namespace varn::smart {

enum class TokenKind {
    kText,    // "quoted": `text` is what it says, without quotes and escapes
    kWord,    // `text` in lower case
    kNumber,  // digits, with or without a fraction: `text` as written
    kDate,    // 2024-01-31: `text` as written
    kSymbol,  // { } ( ) , ! && || = != < <= > >=
    kEnd,
    kBad,  // `text` tells what is wrong
};

struct Token {
    TokenKind kind;
    std::string text;
    int line;               // from 1
    int column;             // from 1, in characters
    std::size_t begin = 0;  // in bytes
    std::size_t end = 0;

    bool Is(std::string_view symbolOrWord) const {
        return (kind == TokenKind::kSymbol || kind == TokenKind::kWord) && text == symbolOrWord;
    }
};

// Splits a text into tokens, one at a time. White space and comments, "#" to the end of a line,
// stand between them.
class Lexer {
  public:
    explicit Lexer(std::string_view text);

    // kEnd again and again at the end.
    Token Next();

  private:
    Token Read();
    std::size_t Offset() const { return size_ - rest_.size(); }
    void SkipBlanks();
    void Advance(std::size_t bytes);
    Token Text(Token token);
    Token Number(Token token);
    Token Word(Token token);
    Token Symbol(Token token);
    std::size_t CountWhile(bool (*belongs)(char), std::size_t from) const;
    // What stands `ahead` bytes on; NUL at the end.
    char Peek(std::size_t ahead = 0) const { return ahead < rest_.size() ? rest_[ahead] : '\0'; }

    std::string_view rest_;
    std::size_t size_;
    int line_ = 1;
    int column_ = 1;
};

}  // namespace varn::smart
