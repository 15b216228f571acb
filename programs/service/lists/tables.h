// Statements on the tables of the library database.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "varn/database.h"

namespace tonvale_service {

// Runs statements on a connection of their own. Throws a Failure where the database refuses one.
void AskTables(const std::function<void(varn::Database &)> &ask);

// The same with one statement of varn::Sql.
varn::Rows AskTables(const std::optional<std::string> &sql);

// A statement, or a part of one, that varn::Sql makes. Throws a Failure where a text from outside is
// not UTF-8 or has a NUL in it.
std::string Made(const std::optional<std::string> &sql);

// Numbers as the text of an SQL array.
template <typename Number>
std::string ArrayText(const std::vector<Number> &numbers) {
    std::string text = "{";
    for (const Number number : numbers) {
        text += (text.size() > 1 ? "," : "") + std::to_string(number);
    }
    return text + "}";
}

}  // namespace tonvale_service
