// Lists that are computed before a client asks for them.
#pragma once

namespace tonvale_service {

// Computes the lists that a client begins with, for each user: albums, artists, genres, composers,
// and songs by title; those that are kept already are not. What fails is logged. With a large
// library it takes many seconds: call it in a process of its own.
void WarmLists();

}  // namespace tonvale_service
