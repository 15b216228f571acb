// The converter of pictures of a plain Linux system: ImageMagick's, with few rights.
//
// The library runs it as root, on pictures that users put there. This program gives the rights up
// and becomes it. The picture is the argument before the last one.
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "confine/become.h"
#include "varn/handles.h"
#include "varn/systempath.h"

namespace {

namespace fs = std::filesystem;

constexpr char kProgram[] = "/usr/bin/convert";

// The bounds of its policy and its time limit are narrower. These hold where a decoder does not
// keep to them. The memory counts what is mapped, and the arenas of its threads.
constexpr confine::Limits kLimits = {
    .memory = rlim_t{4} << 30, .processorTime = 3600, .fileSize = rlim_t{4} << 30, .files = 256};

// Gives the folder that the library has made for one picture to the account, with all that is in
// it. Where that is refused the converter cannot write, and says so.
void GiveAway(const fs::path &folder) {
    const varn::User package = geteuid() == 0 ? varn::UserByName(varn::kPackageAccount) : nullptr;
    if (!package) {
        return;
    }
    const auto give = [&](const fs::path &path) {
        [[maybe_unused]] const int done = lchown(path.c_str(), package->uid, package->gid);
    };
    std::error_code error;
    for (fs::directory_iterator at(folder, error), end; !error && at != end; at.increment(error)) {
        give(at->path());
    }
    give(folder);
}

}  // namespace

int main(int argc, char **argv) {
    if (const char *folder = std::getenv(varn::kConverterFolder)) {
        GiveAway(folder);
    }
    const char *const picture = argc > 2 ? argv[argc - 2] : nullptr;
    return confine::DropRightsToRun(kProgram, picture) ? confine::Become(kProgram, argv, kLimits)
                                                       : confine::kNotRun;
}
