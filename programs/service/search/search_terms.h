// What is looked for, in forms: texts without case, accents and other ways of writing, with a blank
// at the start of each line. As SQL over tables, and for texts in memory.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "varn/database.h"

namespace tonvale_service {

class SearchTerms {
  public:
    // The form is the database's. Throws a Failure for a keyword that is empty, too long, not
    // UTF-8, or nothing but blanks and marks.
    SearchTerms(varn::Database &database, const std::string &keyword);

    // True for a form with all the words.
    std::string HasAll(const std::string &form) const;
    bool IsIn(std::string_view form) const;

    // The longest word, which all these forms have.
    const std::string &Longest() const;

    // True where each word begins a word of `words`.
    std::string BeginsAll(const std::string &words) const;

    // How well the first line of a form fits: 1 it is the text, 2 it begins with it, 3 `begins` is
    // true, 4 otherwise. The line of the SQL has an end.
    std::string Rank(const std::string &form, const std::string &begins) const;
    int RankOf(std::string_view form, std::string_view words) const;

  private:
    struct Word {
        std::string text;
        std::string start;  // the same, as it begins a word
    };

    std::vector<Word> words_;
    std::string whole_;  // all words as a line begins with them
};

// A line of a form, from 1 on; as SQL with its end.
std::string LineOf(const std::string &form, int line);
std::string_view LineIn(std::string_view form, int line);

}  // namespace tonvale_service
