#include "misc/places.h"

#include <fcntl.h>
#include <unistd.h>

#include "misc/source.h"
#include "support/log.h"
#include "varn/handles.h"

namespace Tonvale::misc {

// A folder that has been removed has no name to come back to.
bool HasCurrentFolder() noexcept {
    const varn::MallocPtr<char> name(getcwd(nullptr, 0));
    if (!name) {
        LOG_ERROR(kSource, "Failed to get current directory");
    }
    return name != nullptr;
}

Visit::Visit(const char *folder) noexcept
    : back_(open(".", O_PATH | O_DIRECTORY | O_CLOEXEC)), there_(back_ && chdir(folder) == 0) {}

Visit::Visit(const support::Fd &folder) noexcept
    : back_(open(".", O_PATH | O_DIRECTORY | O_CLOEXEC)),
      there_(back_ && folder && fchdir(folder.Get()) == 0) {}

Visit::~Visit() {
    if (there_ && fchdir(back_.Get()) != 0) {
        LOG_ERROR(kSource, "Failed to change back to the current directory %m");
    }
}

Matches::Matches(const char *pattern, int flags) noexcept
    : status_(glob(pattern, flags, nullptr, &found_)) {}

}  // namespace Tonvale::misc
