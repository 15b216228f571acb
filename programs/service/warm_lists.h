// Lists that are computed before somebody asks for them.
#pragma once

namespace tonvale_service {

// Computes, as far as they are not kept, the lists that a client begins with, for each user: albums,
// artists, genres, composers, and songs by title. What fails is logged. For a process of its own:
// with a large library it takes many seconds.
void WarmLists();

}  // namespace tonvale_service
