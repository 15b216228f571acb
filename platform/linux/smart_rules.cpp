#include "linux/smart_rules.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <optional>
#include <utility>

#include "varn/sql.h"

namespace varn::smart {

// A field of the language and the column of the track view that it names.
struct Field {
    enum class Type { kText, kGenre, kNumber, kDate };

    std::string_view name;
    const char *column;
    Type type;
    const char *now = nullptr;  // for dates: the present in the column's own time
};

namespace {

constexpr int kMostDepth = 32;
constexpr int kMostTests = 256;
constexpr std::size_t kMostNameBytes = 255;
constexpr std::size_t kMostPlaylists = 1000;

constexpr char kLocalNow[] = "LOCALTIMESTAMP";
constexpr char kUtcNow[] = "(now() AT TIME ZONE 'UTC')";

using Type = Field::Type;

// The closed table: no other name reaches a statement.
constexpr std::array kFields = {
    Field{"title", "title", Type::kText},
    Field{"artist", "artist", Type::kText},
    Field{"album", "album", Type::kText},
    Field{"album_artist", "album_artist", Type::kText},
    Field{"composer", "composer", Type::kText},
    Field{"genre", "genre", Type::kGenre},
    Field{"comment", "comment", Type::kText},
    Field{"path", "path", Type::kText},
    Field{"container", "container", Type::kText},
    Field{"codec", "codec", Type::kText},
    Field{"year", "year", Type::kNumber},
    Field{"disc", "disc", Type::kNumber},
    Field{"track", "track", Type::kNumber},
    Field{"duration", "duration", Type::kNumber},
    Field{"bitrate", "bitrate", Type::kNumber},
    Field{"frequency", "frequency", Type::kNumber},
    Field{"channel", "channel", Type::kNumber},
    Field{"filesize", "filesize", Type::kNumber},
    Field{"rating", "star", Type::kNumber},
    Field{"added", "date", Type::kDate, kLocalNow},
    Field{"modified", "mdate", Type::kDate, kUtcNow},
};

struct NumberOperator {
    std::string_view name;
    const char *sql;
};

constexpr std::array kNumberOperators = {
    NumberOperator{"is", "="}, NumberOperator{"=", "="},       NumberOperator{"!=", "<>"},
    NumberOperator{"<", "<"},  NumberOperator{"less", "<"},    NumberOperator{"<=", "<="},
    NumberOperator{">", ">"},  NumberOperator{"greater", ">"}, NumberOperator{">=", ">="},
};

// Units of "3 weeks ago", with the most of each: a thousand years, which every timestamp can go
// back.
struct Unit {
    std::string_view name;
    std::string_view plural;
    int most;
};

constexpr std::array kUnits = {Unit{"day", "days", 365000}, Unit{"week", "weeks", 52000},
                               Unit{"month", "months", 12000}, Unit{"year", "years", 1000}};

enum class Match { kWhole, kAnywhere, kStart, kEnd };

struct TextOperator {
    std::string_view name;
    Match match;
    bool negated = false;
};

constexpr std::array kTextOperators = {
    TextOperator{"is", Match::kWhole},         TextOperator{"=", Match::kWhole},
    TextOperator{"!=", Match::kWhole, true},   TextOperator{"includes", Match::kAnywhere},
    TextOperator{"startswith", Match::kStart}, TextOperator{"endswith", Match::kEnd},
};

template <typename Table>
auto FindByName(const Table &table, const Token &token) -> decltype(&*std::begin(table)) {
    if (token.kind == TokenKind::kWord || token.kind == TokenKind::kSymbol) {
        for (const auto &row : table) {
            if (row.name == token.text) {
                return &row;
            }
        }
    }
    return nullptr;
}

// "a, b or c", for messages.
template <typename Table>
std::string Names(const Table &table) {
    std::string names;
    for (const auto &row : table) {
        const bool last = &row == &*std::rbegin(table);
        names += (names.empty() ? "" : last ? " or " : ", ") + std::string(row.name);
    }
    return names;
}

// The comparison of a column with a text, without regard to case. Empty for one that is not UTF-8.
std::optional<std::string> Compare(const char *column, Match match, const std::string &text) {
    switch (match) {
        case Match::kWhole:
            return Sql("@VARN:NEVAR ILIKE '@VARN:LVAR'", column, text);
        case Match::kAnywhere:
            return Sql("@VARN:NEVAR ILIKE '%%@VARN:LVAR%%'", column, text);
        case Match::kStart:
            return Sql("@VARN:NEVAR ILIKE '@VARN:LVAR%%'", column, text);
        case Match::kEnd:
            return Sql("@VARN:NEVAR ILIKE '%%@VARN:LVAR'", column, text);
    }
    return std::nullopt;
}

// True for a day of the calendar, written 2024-01-31.
bool IsDay(std::string_view text) {
    constexpr std::string_view kPattern = "0000-00-00";
    if (text.size() != kPattern.size() || text[4] != '-' || text[7] != '-') {
        return false;
    }
    const auto number = [&](std::size_t from, std::size_t length) {
        unsigned value = 0;
        const char *start = text.data() + from;
        const auto read = std::from_chars(start, start + length, value);
        return read.ptr == start + length ? value : 0;
    };
    const std::chrono::year_month_day day(std::chrono::year(static_cast<int>(number(0, 4))),
                                          std::chrono::month(number(5, 2)),
                                          std::chrono::day(number(8, 2)));
    return day.year() > std::chrono::year(0) && day.ok();
}

// The inside of a block, with or without the brace that ends it.
std::string_view Trimmed(std::string_view block) {
    constexpr std::string_view kBlanks = " \t\r\n";
    if (block.ends_with('}')) {
        block.remove_suffix(1);
    }
    block.remove_prefix(std::min(block.find_first_not_of(kBlanks), block.size()));
    return block.substr(0, block.find_last_not_of(kBlanks) + 1);
}

}  // namespace

// ---- playlists ---------------------------------------------------------------------------------

SmartPlaylistFile Parser::File() {
    SmartPlaylistFile file;
    while (token_.kind != TokenKind::kEnd) {
        try {
            Playlist(file);
        } catch (const Mistake &mistake) {
            file.notes.push_back(mistake.note);
            SkipBlock();
        }
    }
    return file;
}

void Parser::Playlist(SmartPlaylistFile &file) {
    tests_ = 0;
    genreTests_ = 0;
    const Token name = Take();
    if (name.kind != TokenKind::kText) {
        Fail(name, "a playlist begins with its name in quotes");
    }
    if (name.text.empty() || name.text.size() > kMostNameBytes) {
        Fail(name, "a playlist's name has 1 to 255 bytes");
    }
    if (file.playlists.size() >= kMostPlaylists) {
        Fail(name, "a file holds 1000 playlists at most");
    }
    SmartPlaylist playlist{name.text, name.line, "", "", name.begin, 0, {}};
    const std::size_t rule = token_.Is("{") ? token_.end : token_.begin;
    try {
        Block(playlist);
    } catch (const Mistake &mistake) {
        playlist.condition.clear();
        playlist.notes.push_back(mistake.note);
        SkipBlock();
    }
    playlist.end = taken_;
    playlist.rule = Trimmed(text_.substr(rule, std::max(taken_, rule) - rule));
    const auto other = std::find_if(file.playlists.begin(), file.playlists.end(),
                                    [&](const SmartPlaylist &p) { return p.name == name.text; });
    if (other != file.playlists.end()) {
        file.notes.push_back(
            {name.line, name.column, false,
             "there is a playlist of this name in line " + std::to_string(other->line)});
        return;
    }
    file.playlists.push_back(std::move(playlist));
}

void Parser::Block(SmartPlaylist &playlist) {
    Expect("{", "a playlist's rule stands between { and }");
    playlist.condition = AnyOf(0);
    Ending(playlist);
    Expect("}", "here 'and', 'or' or the closing } is expected");
}

// Goes on after the playlist that a mistake was made in: after the next "}", or before the next
// playlist where that is missing.
void Parser::SkipBlock() {
    while (token_.kind != TokenKind::kEnd) {
        const Lexer lexer = lexer_;
        const std::size_t taken = taken_;
        const Token token = Take();
        if (token.Is("}")) {
            return;
        }
        if (token.kind == TokenKind::kText && token_.Is("{")) {
            lexer_ = lexer;
            token_ = token;
            taken_ = taken;
            return;
        }
    }
}

// Reads an order and a limit, which have no effect: a rule becomes a condition and no list.
void Parser::Ending(SmartPlaylist &playlist) {
    const Token order = token_;
    if (Accept("order", "sort")) {
        Order();
        playlist.notes.push_back({order.line, order.column, true,
                                  "the order is not kept: songs come by album, disc and track"});
    }
    const Token limit = token_;
    if (Accept("limit", "")) {
        if (Take().kind != TokenKind::kNumber) {
            Fail(limit, "'limit' is followed by a number");
        }
        playlist.notes.push_back(
            {limit.line, limit.column, true, "the limit is not kept: all songs are listed"});
    }
}

void Parser::Order() {
    Expect("by", "'order' is followed by 'by' and a field");
    do {
        TakeField();
        if (!Accept("asc", "desc")) {
            Accept("ascending", "descending");
        }
    } while (Accept(",", ""));
}

// ---- conditions --------------------------------------------------------------------------------

std::string Parser::AnyOf(int depth) {
    std::string condition = AllOf(depth);
    bool several = false;
    while (Accept("or", "||")) {
        condition += " OR " + AllOf(depth);
        several = true;
    }
    return several ? "(" + condition + ")" : condition;
}

std::string Parser::AllOf(int depth) {
    std::string condition = Negatable(depth);
    bool several = false;
    while (Accept("and", "&&")) {
        condition += " AND " + Negatable(depth);
        several = true;
    }
    return several ? "(" + condition + ")" : condition;
}

std::string Parser::Negatable(int depth) {
    if (depth > kMostDepth) {
        Fail(token_, "this is nested deeper than 32 times");
    }
    if (Accept("not", "!")) {
        return "NOT (" + Negatable(depth + 1) + ")";
    }
    if (Accept("(", "")) {
        std::string condition = AnyOf(depth + 1);
        Expect(")", "here 'and', 'or' or the closing ) is expected");
        return condition;
    }
    return Test();
}

std::string Parser::Test() {
    const Token first = token_;
    const Field &field = TakeField();
    if (++tests_ > kMostTests) {
        Fail(first, "a rule has 256 tests at most");
    }
    switch (field.type) {
        case Type::kNumber:
            return NumberTest(field);
        case Type::kDate:
            return DateTest(field);
        case Type::kText:
        case Type::kGenre:
            break;
    }
    return TextTest(field);
}

std::string Parser::TextTest(const Field &field) {
    const Token word = Take();
    const TextOperator *compared = FindByName(kTextOperators, word);
    if (compared == nullptr) {
        Fail(word, "after '" + std::string(field.name) + "' comes " + Names(kTextOperators));
    }
    const Token value = Take();
    if (value.kind != TokenKind::kText) {
        Fail(value, "'" + std::string(field.name) + "' is compared with a text in quotes");
    }
    if (value.text.empty() && compared->match != Match::kWhole) {
        Fail(value, "every song has this empty text");
    }
    const bool isGenre = field.type == Type::kGenre;
    const auto test =
        Compare(isGenre ? "genre_track.genre" : field.column, compared->match, value.text);
    if (!test) {
        Fail(value, "this text is not UTF-8");
    }
    // A song has several genres: it has one when one of them is that.
    std::string condition = isGenre ? HasGenre(*test) : *test;
    return compared->negated ? "NOT (" + condition + ")" : condition;
}

// The server joins with what is looked for at the top of a condition, and plans all orders of these
// joins: twelve take 17 seconds. Tests beyond the first two are asked of the rows that are left.
std::string Parser::HasGenre(const std::string &test) {
    constexpr int kMostJoined = 2;
    const std::string has = "id IN (SELECT genre_track.track FROM genre_track WHERE " + test + ")";
    return ++genreTests_ > kMostJoined ? "(" + has + ") IS TRUE" : has;
}

std::string Parser::NumberTest(const Field &field) {
    const Token word = Take();
    const NumberOperator *compared = FindByName(kNumberOperators, word);
    if (compared == nullptr) {
        Fail(word, "after '" + std::string(field.name) + "' comes " + Names(kNumberOperators));
    }
    const Token value = Take();
    if (value.kind != TokenKind::kNumber) {
        Fail(value, "'" + std::string(field.name) + "' is compared with a number");
    }
    return std::string(field.column) + " " + compared->sql + " " + value.text;
}

std::string Parser::DateTest(const Field &field) {
    const Token word = Take();
    const bool before = word.Is("before");
    const bool after = word.Is("after");
    if (!before && !after && !word.Is("is")) {
        Fail(word, "after '" + std::string(field.name) + "' comes before, after or is");
    }
    const Token value = token_;
    bool isDay = true;
    const std::string moment = Moment(field, isDay);
    const std::string column = field.column;
    if (before) {
        return column + " < " + moment;
    }
    if (!isDay && after) {
        return column + " > " + moment;
    }
    if (!isDay) {
        Fail(value, "'is' wants a day: 2024-01-31, today or yesterday");
    }
    const std::string nextDay = moment + " + INTERVAL '1 day'";
    return after ? column + " >= " + nextDay
                 : "(" + column + " >= " + moment + " AND " + column + " < " + nextDay + ")";
}

// A day, by its beginning, or the moment that lies some time back.
std::string Parser::Moment(const Field &field, bool &isDay) {
    if (token_.kind == TokenKind::kNumber) {
        isDay = false;
        return Ago(field);
    }
    const Token value = Take();
    const std::string today = "date_trunc('day', " + std::string(field.now) + ")";
    if (value.Is("today")) {
        return today;
    }
    if (value.Is("yesterday")) {
        return "(" + today + " - INTERVAL '1 day')";
    }
    if (value.kind != TokenKind::kDate || !IsDay(value.text)) {
        Fail(value, "a day is written 2024-01-31, today, yesterday or 2 weeks ago");
    }
    return "TIMESTAMP '" + value.text + "'";
}

std::string Parser::Ago(const Field &field) {
    const Token number = Take();
    const Token word = Take();
    int count = 0;
    const char *end = number.text.data() + number.text.size();
    const auto [stop, error] = std::from_chars(number.text.data(), end, count);
    const bool whole = error == std::errc() && stop == end;
    for (const Unit &unit : kUnits) {
        if (!word.Is(unit.name) && !word.Is(unit.plural)) {
            continue;
        }
        if (!whole || count > unit.most) {
            Fail(number, "this is not a whole number, or longer ago than 1000 years");
        }
        Expect("ago", "a time back is written '2 weeks ago'");
        return "(" + std::string(field.now) + " - INTERVAL '" + std::to_string(count) + " " +
               std::string(unit.plural) + "')";
    }
    Fail(word, "a time back is counted in " + Names(kUnits) + "s");
}

const Field &Parser::TakeField() {
    const Token name = Take();
    const Field *field = name.kind == TokenKind::kWord ? FindByName(kFields, name) : nullptr;
    if (field == nullptr) {
        Fail(name, "here a field is expected: " + Names(kFields));
    }
    return *field;
}

// ---- tokens ------------------------------------------------------------------------------------

Token Parser::Take() {
    Token taken = std::move(token_);
    taken_ = taken.end;
    token_ = lexer_.Next();
    return taken;
}

bool Parser::Accept(std::string_view one, std::string_view other) {
    const bool found = token_.Is(one) || token_.Is(other);
    if (found) {
        Take();
    }
    return found;
}

void Parser::Expect(std::string_view symbol, const char *what) {
    if (!token_.Is(symbol)) {
        Fail(token_, what);
    }
    Take();
}

void Parser::Fail(const Token &at, const std::string &text) const {
    throw Mistake{{at.line, at.column, false, at.kind == TokenKind::kBad ? at.text : text}};
}

}  // namespace varn::smart
