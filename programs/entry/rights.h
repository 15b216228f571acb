// What a handler has of root's rights.
#pragma once

namespace tonvale_entry {

// Gives them up for good (varn::DropRights), as soon as the rest of an answer needs none: it may take
// as long as its client wants. `file` is one that an encoder is still to read. Throws a Refusal.
void GiveUpRights(const char *file = nullptr);

// Ends a handler that runs as root although it has begun as the package's account: a call of the
// library could not give the rights of a moment back.
void EndIfRoot();

}  // namespace tonvale_entry
