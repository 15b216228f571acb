#include "service/people/sessions.h"

#include <algorithm>

#include "service/base/failure.h"
#include "service/people/login_store.h"
#include "varn/sql.h"

namespace tonvale_service {

namespace {

constexpr char kPurpose[] = "session";
constexpr std::size_t kLongestAgent = 200;

// Ends what is over, and what is too much.
constexpr char kTidy[] =
    "DELETE FROM session WHERE last_used < now() - interval '30 days' OR id IN ("
    "SELECT id FROM session WHERE user_id = @VARN:INT ORDER BY last_used DESC OFFSET 99)";

// A text that the database takes: what clients call themselves may be any bytes.
std::string Plain(std::string text) {
    text.resize(std::min(text.size(), kLongestAgent));
    for (char &letter : text) {
        letter = letter < ' ' || letter > '~' ? '?' : letter;
    }
    return text;
}

}  // namespace

std::string NewSession(const Holder &who, const std::string &agent, const std::string &address) {
    const std::string token = NewToken();
    const int owner = static_cast<int>(who.uid);
    RunOnLogins(varn::Sql(kTidy, owner));
    RunOnLogins(
        varn::Sql("INSERT INTO session (token, user_id, login, agent, address) VALUES "
                  "('@VARN:VAR', @VARN:INT, '@VARN:VAR', '@VARN:VAR', '@VARN:VAR')",
                  LoginHashOf(kPurpose, token), owner, who.stamp, Plain(agent), Plain(address)));
    return token;
}

std::optional<Holder> FindSession(const std::string &token) {
    if (!IsToken(token)) {
        return std::nullopt;
    }
    const varn::Rows rows = RunOnLogins(
        varn::Sql("SELECT id, user_id, login, (last_used < now() - interval '5 minutes')::integer "
                  "AS is_stale FROM session WHERE token = '@VARN:VAR' "
                  "AND last_used > now() - interval '30 days'",
                  LoginHashOf(kPurpose, token)));
    if (rows.Count() != 1) {
        return std::nullopt;
    }
    const auto holder = HolderOf(rows[0]);
    if (holder && rows[0].Number("is_stale") != 0) {
        RunOnLogins(
            varn::Sql("UPDATE session SET last_used = now() WHERE id = @VARN:INT", holder->id));
    }
    return holder;
}

std::vector<Session> SessionsOf(uid_t uid, const std::string &user) {
    const varn::Rows rows = RunOnLogins(varn::Sql(
        "SELECT id, agent, address, extract(epoch FROM made)::bigint AS made, "
        "extract(epoch FROM last_used)::bigint AS used FROM session WHERE user_id = @VARN:INT AND "
        "login = '@VARN:VAR' AND last_used > now() - interval '30 days' "
        "ORDER BY last_used DESC, id DESC",
        static_cast<int>(uid), LoginStamp(user)));
    std::vector<Session> sessions;
    for (const varn::Row row : rows) {
        sessions.push_back({static_cast<int>(row.Number("id")), row.Number("made"),
                            row.Number("used"), row.Text("agent"), row.Text("address")});
    }
    return sessions;
}

void EndSession(uid_t uid, int id) {
    const varn::Rows rows =
        RunOnLogins(varn::Sql("DELETE FROM session WHERE user_id = @VARN:INT AND id = @VARN:INT",
                              static_cast<int>(uid), id));
    if (rows.Count() == 0) {
        throw Failure(Reason::kNoSuchSession, std::to_string(id));
    }
}

void EndSessions(uid_t uid, int but) {
    RunOnLogins(varn::Sql("DELETE FROM session WHERE user_id = @VARN:INT AND id <> @VARN:INT",
                          static_cast<int>(uid), but));
}

}  // namespace tonvale_service
