#include "fault.h"

namespace tonvale_subsonic {

using tonvale_entry::Code;
using tonvale_entry::Refusal;
using tonvale_service::Failure;
using tonvale_service::Reason;

Fault NoSuch(const std::string &kind, const std::string &id) {
    return {kNotFound, "there is no " + kind + " '" + id + "'"};
}

Fault FaultOf(const Refusal &refusal) {
    const Code code = tonvale_entry::CodeForClient(refusal.code);
    const auto meant = [&] {
        switch (code) {
            case Code::kNotLoggedIn:
                return kWrongLogin;
            case Code::kNotPermitted:
                return kNotPermitted;
            case Code::kNoSuchItem:
                return kNotFound;
            default:
                return kGeneric;
        }
    };
    return {meant(), SentenceOf(refusal, code)};
}

Fault FaultOf(const Failure &failure) {
    Fault fault = FaultOf(tonvale_entry::RefusalOf(failure));
    switch (failure.Why()) {
        // An identifier of another server is one that is not found.
        case Reason::kNotASongId:
        case Reason::kNotAFolderId:
        case Reason::kNotAPlaylistId:
            fault.code = kNotFound;
            break;
        default:
            break;
    }
    return fault;
}

}  // namespace tonvale_subsonic
