#include "complain.h"

#include <cstdio>

namespace tonvale_cli {

void Complain(const std::string &message) {
    std::fprintf(stderr, "tonvale: %s\n", message.c_str());
}

bool Succeeded(const varn::host::Outcome &done) {
    if (!done) {
        Complain(done.Message());
    }
    return static_cast<bool>(done);
}

}  // namespace tonvale_cli
