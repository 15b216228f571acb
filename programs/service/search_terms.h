// What is looked for, as SQL over the search tables. Their forms have no case, accents and other
// ways of writing, and a blank at the start of each line.
#pragma once

#include <string>
#include <vector>

#include "varn/database.h"

namespace tonvale_service {

class SearchTerms {
  public:
    // The form is the database's. Throws a Failure for a keyword that is empty, too long, not
    // UTF-8, or nothing but blanks and marks.
    SearchTerms(varn::Database &database, const std::string &keyword);

    // True for a form with the word in it; and where it begins a word of `words`.
    std::string Has(std::size_t word, const std::string &form) const;
    std::string Begins(std::size_t word, const std::string &words) const;

    // True for a form with all the words.
    std::string HasAll(const std::string &form) const;
    std::string BeginsAll(const std::string &words) const;

    // How well the first line of a form fits: 1 it is the text, 2 it begins with it, 3 `begins` is
    // true, 4 otherwise. The line has an end.
    std::string Rank(const std::string &form, const std::string &begins) const;

    // The words that an index can find, which takes three characters: a few, the longest first.
    const std::vector<std::size_t> &Indexed() const { return indexed_; }

  private:
    struct Word {
        std::string text;
        std::string start;  // the same, as it stands among words
    };

    std::vector<Word> words_;
    std::vector<std::size_t> indexed_;
};

// A line of a form, from 1 on, and its end.
std::string LineOf(const std::string &form, int line);

}  // namespace tonvale_service
