// VARN.Tonvale.Events: what happens, as server-sent events. This lets listeners in; one process
// tells them all (service/live/event_socket.h).
#include <unistd.h>

#include <string>

#include "action.h"
#include "service/live/event_socket.h"
#include "worker.h"

namespace tonvale_entry {

namespace {

class Listen : public MediaAction {
  public:
    using MediaAction::MediaAction;

  protected:
    bool Send() override {
        if (!IsOfServer()) {
            throw Refusal{Code::kNoSuchMethod, "", "events come from 'tonvale serve' alone"};
        }
        if (Asked().WantsHeaderOnly()) {
            throw Refusal{Code::kNoSuchMethod};
        }
        const VARN::APIRequest &user = Asked().User();
        tonvale_service::HandOver(Asked().ProvedBy(),
                                  {user.GetLoginUID(), user.GetLoginUserName(), Asked().ProofId()},
                                  STDOUT_FILENO);
        return true;
    }
};

constexpr Method kMethods[] = {
    {.name = "listen",
     .make = Make<Listen>,
     .isMedia = true,
     .takesRoot = false,
     .summary = "The events library, scan, player and bye, until the client leaves",
     .answer = "text/event-stream"},
};

}  // namespace

const Api kEventsApi{.name = "VARN.Tonvale.Events",
                     .methods = kMethods,
                     .summary = "What happens, as server-sent events: docs/webapi.md"};

}  // namespace tonvale_entry
