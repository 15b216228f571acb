// Which server the library talks to, and as whom.
#include <grp.h>
#include <unistd.h>

#include <cstdlib>

#include "platform/child.h"
#include "support/fixture.h"
#include "support/socket_elsewhere.h"
#include "support/sockets.h"
#include "tonvale/library.h"
#include "varn/process.h"
#include "varn/systempath.h"

namespace {

using namespace tonvale_test;

class LibraryConnect : public DatabaseTest {
  protected:
    static bool Connects() {
        DBConnect_tag *conn = AudioInfoDBConnect();
        const bool good = conn != nullptr && VARNDBExecute(conn, "SELECT 1", nullptr) == 1;
        VARNDBClose(conn);
        return good;
    }
};

TEST_F(LibraryConnect, LocalSocketThenTheClientsDefaults) {
    EXPECT_TRUE(Connects());
    SocketElsewhere elsewhere;
    EXPECT_FALSE(Connects());
    setenv("PGHOST", elsewhere.to.parent_path().c_str(), 1);
    EXPECT_TRUE(Connects()) << "no socket: the defaults";
    WriteFile(varn::path::kDatabaseSocket, "not a socket");
    EXPECT_TRUE(Connects()) << "something else under its name: the defaults";
}

TEST_F(LibraryConnect, NoVariableLeadsPastTheLocalSocket) {
    for (const char *variable : {"PGHOSTADDR", "PGSERVICE", "PGPORT"}) {
        setenv(variable, "127.0.0.1", 1);
        EXPECT_TRUE(Connects()) << variable;
        EXPECT_STREQ(getenv(variable), "127.0.0.1");
        unsetenv(variable);
    }
}

TEST_F(LibraryConnect, ASocketWithoutAServerLeadsToTheDefaults) {
    SocketElsewhere elsewhere;
    setenv("PGHOST", elsewhere.to.parent_path().c_str(), 1);
    const int deaf = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_TRUE(Bind(deaf, LocalAddress(elsewhere.from)));
    EXPECT_TRUE(Connects());
    EXPECT_TRUE(Logged(
        "audiolib/musiclib:[0-9]+ Failed to connect over the local socket \\(.*\\.s\\.PGSQL"));
    close(deaf);
}

TEST_F(LibraryConnect, ADatabaseThatIsDownIsReportedEachTime) {
    SocketElsewhere elsewhere;
    Tonvale::DBConnetWrapper connection;
    EXPECT_EQ(connection.Get(), nullptr);
    EXPECT_TRUE(Logged("audiolib/db_library:[0-9]+ Failed to connect to database$"));
    EXPECT_NE(std::string(VARNDBErrorGet(nullptr)).find("/nonexistent"), std::string::npos);
    EXPECT_EQ(AudioInfoDBOpen("all", kAlice, 0, "", "", "", "", 0, 0, 0), nullptr);
    EXPECT_TRUE(Logged("audiolib/musiclib:[0-9]+ Failed to connect to database$"));
    EXPECT_EQ(AudioInfoDBGetCount("all", kAlice, 0, "*", "", "", 0), -1);
    setenv("PGHOST", elsewhere.to.parent_path().c_str(), 1);
    EXPECT_NE(connection.Get(), nullptr) << "it tries again";
}

TEST_F(LibraryConnect, TheEffectiveUserStays) {
    EXPECT_TRUE(Connects());
    EXPECT_EQ(geteuid(), getuid());
    if (!IsRoot()) {
        GTEST_SKIP() << "needs root to become another user";
    }
    fs::permissions(root(), fs::perms(0755));
    EXPECT_TRUE(HoldsInChild([] {  // an account of the root that is neither root nor the package's
        EXPECT_TRUE(ResetCredentialsByName("alice", true) == 0 && geteuid() == kAlice &&
                    Connects() && geteuid() == kAlice && getuid() == 0);
    }));
    EXPECT_TRUE(HoldsInChild([] {  // a user without a name
        EXPECT_TRUE(seteuid(4242) == 0 && Connects() && geteuid() == 4242);
    }));
    EXPECT_TRUE(HoldsInChild([] {  // no rights at all: the server refuses this user
        EXPECT_TRUE(setgroups(0, nullptr) == 0 && setresgid(65534, 65534, 65534) == 0 &&
                    setresuid(65534, 65534, 65534) == 0 && !Connects() && geteuid() == 65534);
    }));
}

TEST_F(LibraryConnect, ItConnectsWithoutAPackageAccount) {
    WriteFile(varn::path::kPasswd, "root:x:0:0::/root:/bin/sh\nalice:x:1030:100::/a:/bin/false\n");
    EXPECT_TRUE(Connects()) << VARNDBErrorGet(nullptr);
}

}  // namespace
