#include "varnindex/write/remove.h"

#include "varn/number.h"
#include "varn/sql.h"

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

}  // namespace varnindex
