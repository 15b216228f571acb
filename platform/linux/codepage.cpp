#include "linux/codepage.h"

#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/ucnv.h>
#include <unicode/uscript.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

// A score of our own instead of a detector's answer: the usual detectors (uchardet, ICU) want
// running text, and take a sheet whose only foreign words are a name in Japanese, Chinese, Korean
// or Russian for Western letters. Here every byte that makes sense counts about +1, every one that
// makes none about -1.

namespace varn {
namespace {

constexpr std::size_t kEnoughBytes = 16384;  // beyond ASCII, to be sure
constexpr double kImpossible = -10;

constexpr std::u16string_view kVowels = u"aeiouyæøœı";
// Letters that no language of their page puts beside another vowel (with few exceptions).
constexpr std::u16string_view kShyVowels = u"àèìòùêûøåæěůűő";
// Frequent syllables. Without them simplified Chinese could be Korean: the pages share their bytes.
constexpr std::u16string_view kKorean =
    u"이다는을의에가고하한지사리아그기나시어자대로서인은를스도일해있정수전주보부우라마장상구여오제"
    u"동"
    u"원안진만신영무선유소람랑너내노래날밤별눈비길봄꿈없와녀성현김석광박최윤조강임오준민";

bool IsAscii(UChar32 c) {
    return c < 0x80;
}

UChar32 Base(UChar32 letter) {
    UErrorCode error = U_ZERO_ERROR;
    const icu::Normalizer2 *const decompose = icu::Normalizer2::getNFDInstance(error);
    icu::UnicodeString parts;
    const bool compound = U_SUCCESS(error) && decompose->getDecomposition(letter, parts);
    return u_tolower(compound ? parts.char32At(0) : letter);
}

bool IsIn(std::u16string_view set, UChar32 c) {
    return c <= 0xFFFF && set.find(static_cast<char16_t>(c)) != std::u16string_view::npos;
}

bool IsVowel(UChar32 letter) {
    return IsIn(kVowels, Base(letter));
}

// --- pages of one byte a letter --------------------------------------------------------------

// How a letter with an accent stands among its neighbours, of which 0 is none: mistaken pages put
// vowels beside vowels (Dvoøák for Dvořák) and consonants among consonants (pčre for père).
double ScoreAccent(UChar32 before, UChar32 letter, UChar32 after) {
    const bool besideVowel = IsVowel(before) || IsVowel(after);
    const bool shy = IsIn(kShyVowels, u_tolower(letter));
    const bool misplaced = IsVowel(letter) ? shy && besideVowel : !besideVowel;
    const bool capitalInside = u_islower(before) && u_isupper(letter);
    return 1 - (misplaced ? 0.8 : 0) - (capitalInside ? 1.5 : 0);
}

double ScoreLatin(const std::vector<UChar32> &word) {
    double score = 0;
    for (std::size_t i = 0; i < word.size(); ++i) {
        if (!IsAscii(word[i])) {
            score += ScoreAccent(i == 0 ? 0 : word[i - 1], word[i],
                                 i + 1 == word.size() ? 0 : word[i + 1]);
        }
    }
    return score;
}

// Letters of Serbian and Macedonian, which hardly anybody wrote in this page, but which other
// pages' bytes look like.
bool IsRareCyrillic(UChar32 letter) {
    return IsIn(u"ЂЃЅЈЉЊЋЌЏђѓѕјљњћќџ", letter);
}

// All small, all capital, or a capital and small ones.
bool IsCaseSound(const std::vector<UChar32> &word) {
    const auto isSmall = [](UChar32 c) { return u_islower(c) != 0; };
    const auto rest = word.begin() + 1;
    return std::all_of(rest, word.end(), isSmall) ||
           (!isSmall(word.front()) && std::none_of(rest, word.end(), isSmall));
}

// A word with a Cyrillic or Greek letter: all of it has to be of one alphabet.
double ScoreAlphabet(const std::vector<UChar32> &word, UScriptCode script) {
    UErrorCode error = U_ZERO_ERROR;
    const bool pure = std::all_of(word.begin(), word.end(), [&](UChar32 c) {
        return uscript_getScript(c, &error) == script && !IsRareCyrillic(c);
    });
    const auto foreign = static_cast<double>(
        std::count_if(word.begin(), word.end(), [](UChar32 c) { return !IsAscii(c); }));
    if (!pure || !IsCaseSound(word)) {
        return -foreign;
    }
    if (word.size() == 1) {
        return 0.3;
    }
    return foreign * (script == USCRIPT_CYRILLIC ? 1.2 : 1.1);
}

double ScoreWord(const std::vector<UChar32> &word) {
    const auto first =
        std::find_if(word.begin(), word.end(), [](UChar32 c) { return !IsAscii(c); });
    if (first == word.end()) {
        return 0;
    }
    UErrorCode error = U_ZERO_ERROR;
    const UScriptCode script = uscript_getScript(*first, &error);
    const bool latin = script != USCRIPT_CYRILLIC && script != USCRIPT_GREEK;
    return latin ? ScoreLatin(word) : ScoreAlphabet(word, script);
}

bool IsImpossible(UChar32 c) {
    const int8_t type = u_charType(c);
    const bool control = c >= 0x80 && c < 0xA0;
    return c == 0xFFFD || control || type == U_PRIVATE_USE_CHAR || type == U_UNASSIGNED;
}

// A character between words: a quote or a sign for example.
double ScoreSign(UChar32 c, bool afterLetter) {
    if (IsAscii(c)) {
        return 0;
    }
    return IsIn(u"‘’“”–—…„", c) ? 0.3 : afterLetter ? -1 : -0.5;
}

double ScoreLetters(const icu::UnicodeString &text) {
    double score = 0;
    std::vector<UChar32> word;
    for (int32_t i = 0; i < text.length(); i = text.moveIndex32(i, 1)) {
        const UChar32 c = text.char32At(i);
        if (IsImpossible(c)) {
            score += kImpossible;
        } else if (u_isalpha(c) && !IsIn(u"ªº", c)) {
            word.push_back(c);
        } else {
            score += ScoreWord(word) + ScoreSign(c, !word.empty());
            word.clear();
        }
    }
    return score + ScoreWord(word);
}

// --- pages of two bytes a character ----------------------------------------------------------

// What a pair of bytes is worth; the first zone that fits counts. The frequent characters stand in
// rows of their own in each page.
struct Zone {
    int firstLead;
    int lastLead;
    int firstTrail;
    double score;
};

struct PairPage {
    const char *encoding;
    std::array<Zone, 5> zones;
    bool halfWidth;  // 0xA1 to 0xDF are letters of one byte
    std::u16string_view favourites;
};

constexpr std::array kPairPages = {
    PairPage{"windows-31j",
             {Zone{0x82, 0x83, 0x40, 2.4}, Zone{0x81, 0x81, 0x40, 0.5}, Zone{0x88, 0x97, 0x40, 2},
              Zone{0x98, 0xEA, 0x40, -1}, Zone{0, 0xFF, 0, -4}},
             true,
             {}},
    PairPage{"windows-936",
             {Zone{0xB0, 0xD7, 0xA1, 2}, Zone{0xA1, 0xA3, 0xA1, 0.5}, Zone{0xD8, 0xF7, 0xA1, -1},
              Zone{0, 0xFF, 0, -3}, Zone{}},
             false,
             {}},
    PairPage{"windows-949",
             {Zone{0xB0, 0xC8, 0xA1, 1.6}, Zone{0xA1, 0xA3, 0xA1, 0.5},
              Zone{0xCA, 0xFD, 0xA1, -1.5}, Zone{0, 0xFF, 0, -2}, Zone{}},
             false,
             kKorean},
    PairPage{"windows-950",
             {Zone{0xA4, 0xC6, 0x40, 2}, Zone{0xA1, 0xA3, 0x40, 0.5}, Zone{0xC9, 0xF9, 0x40, -1},
              Zone{0, 0xFF, 0, -4}, Zone{}},
             false,
             {}},
};

double ScorePair(const PairPage &page, int lead, int trail) {
    const auto zone = std::find_if(page.zones.begin(), page.zones.end(), [&](const Zone &known) {
        return lead >= known.firstLead && lead <= known.lastLead && trail >= known.firstTrail;
    });
    return zone == page.zones.end() ? kImpossible : zone->score;
}

bool IsAsciiLetter(int byte) {
    return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z');
}

// One character alone, or one that touches a Latin word, is more likely part of that word.
double ScoreRun(std::size_t pairs, int before, int after) {
    return (pairs == 1 ? -1.5 : 0) - (IsAsciiLetter(before) ? 1 : 0) -
           (IsAsciiLetter(after) ? 1 : 0);
}

double ScorePairs(std::string_view bytes, const PairPage &page) {
    const auto at = [&](std::size_t i) {
        return i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : 0;
    };
    double score = 0;
    for (std::size_t i = 0; i < bytes.size();) {
        const std::size_t begin = i;
        for (; at(i) >= 0x80 && !(page.halfWidth && at(i) >= 0xA1 && at(i) <= 0xDF); i += 2) {
            score += ScorePair(page, at(i), at(i + 1));
        }
        if (i > begin) {
            score += ScoreRun((i - begin) / 2, begin == 0 ? 0 : at(begin - 1), at(i));
        } else {
            score -= at(i) >= 0x80 ? 1 : 0;
            ++i;
        }
    }
    const icu::UnicodeString text = Decode(bytes, page.encoding);
    for (int32_t i = 0; i < text.length(); i = text.moveIndex32(i, 1)) {
        const UChar32 c = text.char32At(i);
        score += IsIn(page.favourites, c) ? 0.8 : 0;
        score += IsImpossible(c) ? kImpossible : 0;
    }
    return score;
}

// --- the choice ------------------------------------------------------------------------------

struct LetterPage {
    const char *encoding;
    double head;  // which one wins when a word means the same in both
};

constexpr std::array kLetterPages = {LetterPage{"windows-1252", 0.1}, LetterPage{"windows-1250", 0},
                                     LetterPage{"windows-1251", 0}, LetterPage{"windows-1253", 0}};

// The lines that are not plain ASCII, as far as they are needed.
std::string ForeignLines(std::string_view bytes) {
    std::string foreign;
    while (!bytes.empty() && foreign.size() < kEnoughBytes) {
        const std::size_t end = std::min(bytes.find_first_of("\r\n"), bytes.size() - 1) + 1;
        const std::string_view line = bytes.substr(0, end);
        if (std::any_of(line.begin(), line.end(), [](char c) { return (c & 0x80) != 0; })) {
            foreign += line.substr(0, kEnoughBytes);
        }
        bytes.remove_prefix(end);
    }
    return foreign;
}

}  // namespace

icu::UnicodeString Decode(std::string_view bytes, const char *encoding) {
    icu::UnicodeString text;
    text.setToBogus();
    UErrorCode error = U_ZERO_ERROR;
    const icu::LocalUConverterPointer converter(ucnv_open(encoding, &error));
    if (U_SUCCESS(error)) {
        text = icu::UnicodeString(bytes.data(), static_cast<int32_t>(bytes.size()),
                                  converter.getAlias(), error);
    }
    if (U_FAILURE(error)) {
        text.setToBogus();
    }
    return text;
}

const char *LikelyCodePage(std::string_view bytes) {
    const std::string foreign = ForeignLines(bytes);
    const char *best = kLetterPages.front().encoding;
    double most = -std::numeric_limits<double>::infinity();
    const auto offer = [&](const char *encoding, double score) {
        if (score > most) {
            best = encoding;
            most = score;
        }
    };
    for (const LetterPage &page : kLetterPages) {
        offer(page.encoding, ScoreLetters(Decode(foreign, page.encoding)) + page.head);
    }
    for (const PairPage &page : kPairPages) {
        offer(page.encoding, ScorePairs(foreign, page));
    }
    return best;
}

}  // namespace varn
