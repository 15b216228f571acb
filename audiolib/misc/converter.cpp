#include "misc/converter.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fstream>

#include "misc/kept_exit_status.h"
#include "misc/source.h"
#include "support/log.h"
#include "varn/process.h"
#include "varn/systempath.h"

namespace Tonvale::misc {

namespace {

constexpr int kUsualSeconds = 60;
constexpr int kMostSeconds = 3600;
constexpr int kGrace = 2;  // seconds more for a converter to end by itself

// A variable in which the converter looks for something, for the length of a scope, unless an
// administrator has set it.
class Variable {
  public:
    Variable(const char *name, const std::string &value)
        : name_(name), isOurs_(std::getenv(name) == nullptr) {
        setenv(name, value.c_str(), 0);
    }
    ~Variable() {
        if (isOurs_) {
            unsetenv(name_);
        }
    }
    Variable(const Variable &) = delete;
    Variable &operator=(const Variable &) = delete;

    std::string Value() const {
        const char *value = std::getenv(name_);
        return value != nullptr ? value : "";
    }

  private:
    const char *name_;
    bool isOurs_;
};

// Has the converter end by itself: the time in seconds that it may take.
class TimeLimit : public Variable {
  public:
    TimeLimit() : Variable("MAGICK_TIME_LIMIT", std::to_string(kUsualSeconds)) {}

    int Seconds() const {
        const long seconds = std::strtol(Value().c_str(), nullptr, 10);
        return seconds > 0 ? static_cast<int>(std::min<long>(seconds, kMostSeconds))
                           : kUsualSeconds;
    }
};

// Whatever a picture's name and its bytes say, it is decoded as one of these formats, by no other
// program; what the system's policy forbids and bounds holds beside that.
constexpr char kPolicy[] =
    "<policymap>"
    "<policy domain=\"delegate\" rights=\"none\" pattern=\"*\"/>"
    "<policy domain=\"coder\" rights=\"none\" pattern=\"*\"/>"
    "<policy domain=\"coder\" rights=\"read|write\" pattern=\"{BMP,GIF,JPEG,JPG,PNG,WEBP}\"/>"
    "</policymap>\n";

// False, with a log line, when the policy cannot be put into the folder.
bool WritePolicy(const std::string &folder) {
    std::ofstream policy(folder + "/policy.xml");
    policy << kPolicy;
    policy.close();
    if (!policy.good()) {
        LOG_ERROR(kSource, "Failed to write [%s/policy.xml] %m", folder.c_str());
    }
    return policy.good();
}

}  // namespace

bool Convert(const char *source, int side, const std::string &folder, const std::string &target) {
    const std::string pixels = std::to_string(side);
    const std::string box = pixels + "x" + pixels + ">";  // fits in, and is never enlarged
    std::array<std::string, 7> words = {"convert", "-size", box, "-thumbnail", box, source, target};
    std::array<char *, words.size() + 1> argv = {};
    for (std::size_t i = 0; i < words.size(); ++i) {
        argv[i] = words[i].data();
    }
    const TimeLimit limit;
    const Variable configuration("MAGICK_CONFIGURE_PATH", folder);
    const Variable own(varn::kConverterFolder, folder);
    const KeptExitStatus kept(true);
    return WritePolicy(folder) && VLIBCExecv(SystemPath(varn::path::kConvert).c_str(), argv.data(),
                                             limit.Seconds() + kGrace) == 0;
}

}  // namespace Tonvale::misc
