#include "search_terms.h"

#include <algorithm>

#include "failure.h"
#include "list.h"
#include "varn/sql.h"

namespace tonvale_service {

namespace {

constexpr std::size_t kIndexedCharacters = 3;
constexpr std::size_t kMostIndexed = 3;

std::size_t CharactersOf(const std::string &text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) {
        return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U;
    }));
}

template <typename Each>
std::string Together(std::size_t count, const Each &each) {
    std::string all;
    for (std::size_t i = 0; i < count; ++i) {
        all += (i == 0 ? "(" : " AND ") + each(i);
    }
    return all + ")";
}

}  // namespace

SearchTerms::SearchTerms(varn::Database &database, const std::string &keyword) {
    const auto statement = varn::Sql(
        "SELECT word, COALESCE(search_words(word), word) AS start FROM"
        " unnest(string_to_array(search_form('@VARN:VAR'), ' ')) WITH ORDINALITY"
        " AS w (word, number) WHERE word <> '' ORDER BY number",
        Needle(keyword));
    if (!statement) {
        throw Failure(Reason::kNotUtf8);
    }
    for (const varn::Row row : database.Query(*statement)) {
        words_.push_back({row.Text("word"), row.Text("start")});
    }
    if (words_.empty()) {
        throw Failure(Reason::kEmptyKeyword);
    }
    for (std::size_t i = 0; i < words_.size(); ++i) {
        if (CharactersOf(words_[i].text) >= kIndexedCharacters) {
            indexed_.push_back(i);
        }
    }
    std::sort(indexed_.begin(), indexed_.end(), [&](std::size_t a, std::size_t b) {
        return CharactersOf(words_[a].text) > CharactersOf(words_[b].text);
    });
    indexed_.resize(std::min(indexed_.size(), kMostIndexed));
}

std::string SearchTerms::Has(std::size_t word, const std::string &form) const {
    return form + varn::Made(varn::Sql(" LIKE '%%@VARN:LVAR%%'", words_[word].text));
}

std::string SearchTerms::Begins(std::size_t word, const std::string &words) const {
    return words + varn::Made(varn::Sql(" LIKE '%% @VARN:LVAR%%'", words_[word].start));
}

std::string SearchTerms::HasAll(const std::string &form) const {
    return Together(words_.size(), [&](std::size_t word) { return Has(word, form); });
}

std::string SearchTerms::BeginsAll(const std::string &words) const {
    return Together(words_.size(), [&](std::size_t word) { return Begins(word, words); });
}

std::string SearchTerms::Rank(const std::string &form, const std::string &begins) const {
    std::string whole;
    for (const Word &word : words_) {
        whole += " " + word.text;
    }
    const std::string start =
        varn::Made(varn::Sql("starts_with(@VARN:NEVAR, '@VARN:VAR", form, whole));
    return "CASE WHEN " + start + "\n') THEN 1 WHEN " + start + "') THEN 2 WHEN " + begins +
           " THEN 3 ELSE 4 END";
}

std::string LineOf(const std::string &form, int line) {
    return "(split_part(" + form + ", E'\\n', " + std::to_string(line) + ") || E'\\n')";
}

}  // namespace tonvale_service
