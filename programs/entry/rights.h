// What a process has of root's rights.
#pragma once

namespace tonvale_entry {

// Gives them up (varn::DropRights), as soon as the rest of an answer needs none: for good in a
// process of one request, which may last as long as its client wants. A worker keeps them for the
// next request, and ends here if its effective ids are root's.
// `file` is one that an encoder is still to read. Throws a Refusal.
void GiveUpRights(const char *file = nullptr);

// Ends a process that runs as root although it has begun as the package's account: a call of the
// library could not give the rights of a moment back.
void EndIfRoot();

}  // namespace tonvale_entry
