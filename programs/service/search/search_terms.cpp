#include "service/search/search_terms.h"

#include <string.h>

#include <algorithm>

#include "service/base/failure.h"
#include "service/lists/list.h"
#include "service/lists/tables.h"
#include "varn/sql.h"

namespace tonvale_service {

namespace {

bool Has(std::string_view text, std::string_view part) {
    return memmem(text.data(), text.size(), part.data(), part.size()) != nullptr;
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
    const std::string statement =
        Made(varn::Sql("SELECT word, COALESCE(search_words(word), word) AS start FROM"
                       " unnest(string_to_array(search_form('@VARN:VAR'), ' ')) WITH ORDINALITY"
                       " AS w (word, number) WHERE word <> '' ORDER BY number",
                       Needle(keyword)));
    for (const varn::Row row : database.Query(statement)) {
        words_.push_back({row.Text("word"), " " + std::string(row.Text("start"))});
        whole_ += " " + words_.back().text;
    }
    if (words_.empty()) {
        throw Failure(Reason::kEmptyKeyword);
    }
}

std::string SearchTerms::HasAll(const std::string &form) const {
    return Together(words_.size(), [&](std::size_t word) {
        return form + Made(varn::Sql(" LIKE '%%@VARN:LVAR%%'", words_[word].text));
    });
}

bool SearchTerms::IsIn(std::string_view form) const {
    return std::all_of(words_.begin(), words_.end(),
                       [&](const Word &word) { return Has(form, word.text); });
}

const std::string &SearchTerms::Longest() const {
    return std::max_element(words_.begin(), words_.end(),
                            [](const Word &one, const Word &other) {
                                return one.text.size() < other.text.size();
                            })
        ->text;
}

std::string SearchTerms::BeginsAll(const std::string &words) const {
    return Together(words_.size(), [&](std::size_t word) {
        return words + Made(varn::Sql(" LIKE '%%@VARN:LVAR%%'", words_[word].start));
    });
}

std::string SearchTerms::Rank(const std::string &form, const std::string &begins) const {
    const std::string start = Made(varn::Sql("starts_with(@VARN:NEVAR, '@VARN:VAR", form, whole_));
    return "CASE WHEN " + start + "\n') THEN 1 WHEN " + start + "') THEN 2 WHEN " + begins +
           " THEN 3 ELSE 4 END";
}

int SearchTerms::RankOf(std::string_view form, std::string_view words) const {
    if (form.starts_with(whole_)) {
        const std::string_view rest = form.substr(whole_.size());
        return rest.empty() || rest.front() == '\n' ? 1 : 2;
    }
    const bool begins = std::all_of(words_.begin(), words_.end(),
                                    [&](const Word &word) { return Has(words, word.start); });
    return begins ? 3 : 4;
}

std::string LineOf(const std::string &form, int line) {
    return "(split_part(" + form + ", E'\\n', " + std::to_string(line) + ") || E'\\n')";
}

std::string_view LineIn(std::string_view form, int line) {
    for (int i = 1; i < line; ++i) {
        form.remove_prefix(std::min(form.find('\n'), form.size() - 1) + 1);
    }
    return form.substr(0, form.find('\n'));
}

}  // namespace tonvale_service
