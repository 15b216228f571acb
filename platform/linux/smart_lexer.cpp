#include "linux/smart_lexer.h"

#include <algorithm>

namespace varn::smart {

namespace {

constexpr std::size_t kMostTextBytes = 1024;
constexpr std::ptrdiff_t kMostDigits = 15;

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kSymbols[] = {"&&", "||", "!=", "<=", ">=", "==", "{", "}",
                                         "(",  ")",  ",",  "!",  "=",  "<",  ">"};

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

bool IsWordStart(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

bool IsWordPart(char c) {
    return IsWordStart(c) || IsDigit(c);
}

bool IsDatePart(char c) {
    return IsDigit(c) || c == '-';
}

bool IsBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

bool IsControl(char c) {
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
}

// What a character after a backslash stands for; NUL for one that means nothing there.
char Escaped(char c) {
    switch (c) {
        case '"':
        case '\\':
            return c;
        case 'n':
            return '\n';
        case 'r':
            return '\r';
        case 't':
            return '\t';
        default:
            return '\0';
    }
}

Token Bad(Token token, std::string_view why) {
    token.kind = TokenKind::kBad;
    token.text = why;
    return token;
}

}  // namespace

Lexer::Lexer(std::string_view text) : rest_(text), size_(text.size()) {
    if (rest_.starts_with(kByteOrderMark)) {
        rest_.remove_prefix(kByteOrderMark.size());
    }
}

Token Lexer::Next() {
    SkipBlanks();
    const std::size_t begin = Offset();
    Token token = Read();
    token.begin = begin;
    token.end = Offset();
    return token;
}

Token Lexer::Read() {
    Token token{TokenKind::kEnd, "", line_, column_};
    if (rest_.empty()) {
        return token;
    }
    const char first = rest_.front();
    if (first == '"') {
        return Text(std::move(token));
    }
    if (IsDigit(first)) {
        return Number(std::move(token));
    }
    return IsWordStart(first) ? Word(std::move(token)) : Symbol(std::move(token));
}

void Lexer::SkipBlanks() {
    while (!rest_.empty() && (IsBlank(rest_.front()) || rest_.front() == '#')) {
        Advance(rest_.front() == '#' ? std::min(rest_.find('\n'), rest_.size()) : 1);
    }
}

void Lexer::Advance(std::size_t bytes) {
    for (const char c : rest_.substr(0, bytes)) {
        const bool continuesCharacter = (static_cast<unsigned char>(c) & 0xC0) == 0x80;
        column_ = c == '\n' ? 1 : column_ + (continuesCharacter ? 0 : 1);
        line_ += c == '\n' ? 1 : 0;
    }
    rest_.remove_prefix(bytes);
}

Token Lexer::Text(Token token) {
    token.kind = TokenKind::kText;
    Advance(1);
    // On a mistake the text is read on, so that the next token starts where the writer meant it to.
    std::string_view mistake;
    while (Peek() != '"') {
        if (rest_.empty() || Peek() == '\n') {
            return Bad(std::move(token), "this text has no closing quote on its line");
        }
        char c = Peek();
        if (c == '\\') {
            Advance(1);
            c = Escaped(Peek());
            if (c == '\0') {
                mistake = R"(a backslash stands before ", \, n, r or t only)";
                continue;
            }
        } else if (IsControl(c) && c != '\t') {
            mistake = "this text holds a control character";
        }
        token.text += c;
        Advance(1);
    }
    Advance(1);
    if (token.text.size() > kMostTextBytes) {
        mistake = "this text is longer than 1024 bytes";
    }
    return mistake.empty() ? token : Bad(std::move(token), mistake);
}

std::size_t Lexer::CountWhile(bool (*belongs)(char), std::size_t from) const {
    std::size_t end = from;
    while (end < rest_.size() && belongs(rest_[end])) {
        ++end;
    }
    return end - from;
}

Token Lexer::Number(Token token) {
    std::size_t length = CountWhile(IsDatePart, 0);
    const bool isDate = rest_.substr(0, length).find('-') != std::string_view::npos;
    if (!isDate && Peek(length) == '.' && IsDigit(Peek(length + 1))) {
        length += 1 + CountWhile(IsDigit, length + 1);
    }
    token.kind = isDate ? TokenKind::kDate : TokenKind::kNumber;
    token.text = rest_.substr(0, length);
    Advance(length);
    if (IsWordPart(Peek())) {
        Advance(CountWhile(IsWordPart, 0));
        return Bad(std::move(token), "a number has nothing but digits");
    }
    const auto digits = std::count_if(token.text.begin(), token.text.end(), IsDigit);
    return digits > kMostDigits ? Bad(std::move(token), "this number is too long") : token;
}

Token Lexer::Word(Token token) {
    token.kind = TokenKind::kWord;
    token.text = rest_.substr(0, CountWhile(IsWordPart, 0));
    Advance(token.text.size());
    std::transform(token.text.begin(), token.text.end(), token.text.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c; });
    return token;
}

Token Lexer::Symbol(Token token) {
    for (const std::string_view symbol : kSymbols) {
        if (rest_.starts_with(symbol)) {
            token.kind = TokenKind::kSymbol;
            token.text = symbol == "==" ? "=" : symbol;
            Advance(symbol.size());
            return token;
        }
    }
    Advance(1);
    return Bad(std::move(token), "this character has no meaning here");
}

}  // namespace varn::smart
