#include "varnindex/write/remove.h"

#include <cstdlib>
#include <iostream>

#include "varn/number.h"
#include "varn/sql.h"
#include "varnindex/read/names.h"

namespace varnindex {

std::optional<int> ParseRowId(std::string_view text) {
    const auto id = varn::WholeNumber<int>(text);
    return id && *id > 0 ? id : std::nullopt;
}

// The ids of both tables come from one sequence, so that at most one of them has it.
bool RemovePlaylist(Database &database, int id) {
    return database.Execute(Made(varn::Sql("DELETE FROM playlist WHERE id = @VARN:INT", id))) > 0 ||
           database.Execute(
               Made(varn::Sql("DELETE FROM personal_playlist WHERE id = @VARN:INT", id))) > 0;
}

int RemovePlaylistRow(const std::string &id) {
    const auto number = ParseRowId(id);
    if (!number) {
        std::cerr << "varnindex: " << Printable(id) << " is no playlist's id: digits only\n";
        return EXIT_FAILURE;
    }
    Database database;
    if (!RemovePlaylist(database, *number)) {
        std::cerr << "varnindex: the library has no playlist with the id " << *number << '\n';
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}

}  // namespace varnindex
