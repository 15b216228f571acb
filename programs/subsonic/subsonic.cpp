#include "subsonic.h"

#include <stdio_ext.h>
#include <syslog.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <exception>
#include <utility>

#include "answer.h"
#include "endpoint.h"
#include "entry/parameters.h"
#include "entry/rights.h"
#include "entry/turn.h"
#include "entry/worker.h"
#include "login.h"

namespace tonvale_subsonic {

namespace {

constexpr std::string_view kPath = "/rest/";
constexpr std::string_view kSuffix = ".view";

std::string Path() {
    return tonvale_entry::Variable("SCRIPT_NAME") + tonvale_entry::Variable("PATH_INFO");
}

// One a line, in order.
// clang-format off
const std::array kTables = {
    &kAbsentEndpoints,
    &kAnnotationEndpoints,
    &kBookmarkEndpoints,
    &kBrowsingEndpoints,
    &kJukeboxEndpoints,
    &kListEndpoints,
    &kMediaEndpoints,
    &kPlaylistEndpoints,
    &kRadioEndpoints,
    &kSearchEndpoints,
    &kShareEndpoints,
    &kSimilarEndpoints,
    &kSystemEndpoints,
    &kUserEndpoints,
};
// clang-format on

const Endpoint &FindEndpoint(std::string_view name) {
    if (name.ends_with(kSuffix)) {
        name.remove_suffix(kSuffix.size());
    }
    for (const auto *table : kTables) {
        for (const Endpoint &known : *table) {
            if (known.name == name) {
                return known;
            }
        }
    }
    throw Fault{kNotFound, "there is no such endpoint"};
}

// Signs in, and waits for the turn of a request that may be answered.
const Endpoint &Prepare(tonvale_entry::Request &entry) {
    const std::string path = Path();
    const Endpoint &endpoint = FindEndpoint(std::string_view(path).substr(kPath.size()));
    if (endpoint.needsLogin) {
        const Request asked(entry);
        SignIn(entry);
        asked.MinorVersion();  // throws for a version that is not served
        asked.Required("c");
    }
    if (endpoint.changes) {
        Request(entry).RefuseHead();
    }
    if (endpoint.lasts) {
        tonvale_entry::LeaveWorker();
    }
    TakeTurn(entry, tonvale_entry::Work::kShort);
    if (endpoint.changes && !tonvale_entry::IsWorker()) {
        // The change is finished even if the client leaves or the server ends (SIGTERM).
        std::signal(SIGTERM, SIG_IGN);
    }
    if (!endpoint.takesRoot) {
        tonvale_entry::GiveUpRights();
    }
    return endpoint;
}

// Does the work. A fault goes to `refused`, as long as nothing is written.
template <typename Work, typename Refused>
bool Try(const Work &work, const Refused &refused) {
    try {
        return work();
    } catch (const Fault &fault) {
        return refused(fault);
    } catch (const tonvale_entry::Refusal &refusal) {
        return refused(FaultOf(refusal));
    } catch (const tonvale_service::Failure &failure) {
        return refused(FaultOf(failure));
    } catch (const std::exception &error) {
        syslog(LOG_ERR, "An answer below %s failed: %s", kPath.data(), error.what());
        return refused(FaultOf(tonvale_entry::Refusal{tonvale_entry::Code::kFailed}));
    }
}

bool AnswerTo(tonvale_entry::Request &entry, Form &form) {
    const Request asked(entry);
    form = Form::Of(asked);
    entry.CheckWhole();
    const Endpoint &endpoint = Prepare(entry);
    if (endpoint.send != nullptr) {
        return endpoint.send(asked);
    }
    const std::string text = AnswerText(form, [&](AnswerWriter &answer) {
        if (endpoint.write != nullptr) {
            endpoint.write(asked, answer);
        } else {
            answer.Members(endpoint.answer(asked));
        }
    });
    tonvale_entry::CheckDatabase();
    tonvale_entry::GiveUpRights();
    return Send(form, text, entry.WantsHeaderOnly());
}

}  // namespace

bool IsAsked() {
    return Path().starts_with(kPath);
}

bool Answer(tonvale_entry::Login login) {
    Form form;
    const bool headerOnly = tonvale_entry::Variable("REQUEST_METHOD") == "HEAD";
    return Try(
        [&] {
            auto entry =
                tonvale_entry::Request::Read(std::move(login), tonvale_entry::Repeats::kKept);
            tonvale_entry::ForgetQuery();
            return AnswerTo(entry, form);
        },
        [&](const Fault &fault) {
            // Standard output gets its buffer with the first byte.
            return __fbufsize(stdout) == 0 && Send(form, AnswerText(form, fault), headerOnly);
        });
}

}  // namespace tonvale_subsonic
