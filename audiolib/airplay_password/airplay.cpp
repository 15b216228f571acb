#include "airplay_password/digest.h"
#include "airplay_password/rtsp.h"
#include "airplay_password/source.h"
#include "support/boundary.h"
#include "support/log.h"
#include "tonvale/players.h"

namespace Tonvale::airplay {

namespace {

const char *OrEmpty(const char *text) {
    return text != nullptr ? text : "";
}

int Probe(RtspClient &client, Challenge &challenge) {
    return AirplayStatus(client.Options("", challenge)).Get();
}

PasswordNeed AskForNeed(const char *host, const char *port) {
    RtspClient client(host, port);
    if (!client) {
        return {false, false};
    }
    Challenge challenge;
    const int status = Probe(client, challenge);
    switch (status) {
        case AIRPLAY_REACHABLE:
            return {true, false};
        case AIRPLAY_PASSWORD:
            return {true, true};
        default:
            LOG_ERROR(kSource, "Failed to get the status of airplay [%s:%s] [%d]", host, port,
                      status);
            return {false, false};
    }
}

int TryPassword(const char *host, const char *port, const char *password) {
    RtspClient client(host, port);
    if (!client) {
        return AIRPLAY_FAILED;
    }
    Challenge challenge;
    const int status = Probe(client, challenge);
    if (status == AIRPLAY_REACHABLE) {
        return status;
    }
    if (status == AIRPLAY_BUSY) {
        LOG_ERROR(kSource, "Failed to get the status of airplay [%s:%s] due to busy", host, port);
        return status;
    }
    if (status == AIRPLAY_FAILED) {
        LOG_ERROR(kSource, "Failed to get the status of airplay [%s:%s]", host, port);
        return status;
    }
    const std::string line = AuthorizationLine(challenge, password);
    if (line.empty()) {
        LOG_ERROR(kSource, "Failed to GetAuthorizationString");
        return AIRPLAY_FAILED;
    }
    return AirplayStatus(client.Options(line, challenge)).Get();
}

}  // namespace

AirplayStatus::AirplayStatus(int rtspCode) noexcept {
    switch (rtspCode) {
        case 200:
            status_ = AIRPLAY_REACHABLE;
            break;
        case 401:
            status_ = AIRPLAY_PASSWORD;
            break;
        case 453:
            status_ = AIRPLAY_BUSY;
            break;
        default:
            LOG_ERROR(kSource, "Unhandled http code [%d]", rtspCode);
    }
}

PasswordNeed IsNeedPassword(const char *host, const char *port) noexcept {
    return support::Guarded(kSource, PasswordNeed{false, false},
                            [&] { return AskForNeed(OrEmpty(host), OrEmpty(port)); });
}

int TestPassword(const char *host, const char *port, const char *password) noexcept {
    return support::Guarded(kSource, static_cast<int>(AIRPLAY_FAILED),
                            [&] { return TryPassword(OrEmpty(host), OrEmpty(port), password); });
}

}  // namespace Tonvale::airplay
