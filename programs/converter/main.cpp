// The converter of pictures of a plain Linux system: ImageMagick's, with few rights.
//
// The library runs it as root, on pictures that users put there. This program gives the rights up
// and becomes it. The picture is the argument before the last one, the result the last one. If the
// library has made a folder for them, they are there.
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>
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

// What the converter reads: the copy in the folder, if the library has made one.
std::string PictureIn(const fs::path &folder, const std::string &source) {
    const fs::path copy = folder / varn::kConverterPicture;
    std::error_code error;
    // With a folder in front no first character makes an option or a list of names of it.
    return fs::exists(copy, error)   ? copy.string()
           : source.starts_with('/') ? source
                                     : "./" + source;
}

// What the converter writes. It reads "%d" and its like there as a frame's number.
std::string ResultIn(const fs::path &folder, const std::string &target) {
    std::string path = folder / varn::kConverterResult;
    for (const char c : fs::path(target).extension().string()) {
        path.append(c == '%' ? 2 : 1, c);
    }
    return path;
}

}  // namespace

int main(int argc, char **argv) {
    std::string picture = argc > 2 ? argv[argc - 2] : "";
    std::string result;
    if (const char *folder = std::getenv(varn::kConverterFolder); folder != nullptr && argc > 2) {
        GiveAway(folder);
        picture = PictureIn(folder, picture);
        result = ResultIn(folder, argv[argc - 1]);
        argv[argc - 2] = picture.data();
        argv[argc - 1] = result.data();
    }
    const char *const read = argc > 2 ? picture.c_str() : nullptr;
    return confine::DropRightsToRun(kProgram, read) ? confine::Become(kProgram, argv, kLimits)
                                                    : confine::kNotRun;
}
