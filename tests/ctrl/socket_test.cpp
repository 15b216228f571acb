#include <fcntl.h>
#include <sys/resource.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <fstream>

#include "platform/child.h"
#include "support/fixture.h"
#include "support/sockets.h"
#include "tonvale/players.h"
#include "varn/process.h"

namespace {

using namespace tonvale_test;

class ChannelTest : public SystemTest {
  protected:
    static bool ClosesOnExec(int fd) { return (fcntl(fd, F_GETFD) & FD_CLOEXEC) != 0; }
};

TEST_F(ChannelTest, ALocalSocketReplacesAFileAndGetsItsOwner) {
    const std::string path = scratch() / "player's \"socket\"";
    std::ofstream(path) << "a file that was there";
    const int listener = DomainSocketCreate(path.c_str(), 3);
    ASSERT_GE(listener, 0);
    EXPECT_TRUE(ClosesOnExec(listener));
    struct stat info {};
    ASSERT_EQ(stat(path.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode, static_cast<mode_t>(S_IFSOCK | 0764));
    if (IsRoot()) {
        EXPECT_EQ(info.st_uid, 0U);
        EXPECT_EQ(info.st_gid, GetUserIdFromName("Tonvale"));
        EXPECT_TRUE(Log().empty());
    } else {
        EXPECT_TRUE(Logged("socket:\\d+ Failed to chown  \\["));
    }
    EXPECT_EQ(SocketAccept(listener), -1);
    const int client = ConnectTo(path);
    const int served = SocketAccept(listener);
    ASSERT_GE(served, 0);
    EXPECT_TRUE(ClosesOnExec(served));
    EXPECT_EQ(SocketAccept(listener), -1);
    for (const int fd : {client, served, listener}) {
        close(fd);
    }
}

TEST_F(ChannelTest, ALocalSocketThatCannotBeMadeIsLogged) {
    const std::string missing = scratch() / "missing/socket";
    EXPECT_EQ(DomainSocketCreate(missing.c_str(), 3), -1);
    EXPECT_TRUE(Logged("socket:\\d+ Failed to bind socket\\.$"));
    EXPECT_TRUE(Logged("socket:\\d+ Failed to chmod \\[.*missing/socket\\] No such file"));
    EXPECT_TRUE(Logged("socket:\\d+ Failed to chown  \\[.*missing/socket\\] No such file"));
    ClearLog();
    EXPECT_EQ(DomainSocketCreate(nullptr, 3), -1);
    EXPECT_EQ(DomainSocketCreate("", 3), -1);
    EXPECT_EQ(Log().size(), 2U);
    EXPECT_TRUE(Logged("socket:\\d+ Bad parameter$"));
    // An address holds 107 bytes. A longer name is cut.
    const std::string tooLong = scratch() / std::string(150, 's');
    const int listener = DomainSocketCreate(tooLong.c_str(), 3);
    EXPECT_GE(listener, 0);
    EXPECT_TRUE(fs::is_socket(tooLong.substr(0, 107)));
    close(listener);
}

TEST_F(ChannelTest, ARemoteControlSocketTakesTheNextFreePort) {
    int port = 20000 + static_cast<int>(getpid() % 20000);
    const int asked = port;
    const int first = DACPSocketCreate(&port, 1);
    ASSERT_GE(first, 0);
    EXPECT_GE(port, asked);
    EXPECT_TRUE(ClosesOnExec(first));
    int next = port;
    const int second = DACPSocketCreate(&next, 1);
    ASSERT_GE(second, 0);
    EXPECT_GT(next, port);
    sockaddr_in address = {};
    socklen_t size = sizeof address;
    ASSERT_EQ(getsockname(second, reinterpret_cast<sockaddr *>(&address), &size), 0);
    EXPECT_EQ(ntohs(address.sin_port), next);
    EXPECT_EQ(address.sin_addr.s_addr, htonl(INADDR_ANY));
    EXPECT_TRUE(Log().empty());
    close(first);
    close(second);
}

TEST_F(ChannelTest, ARemoteControlSocketFailsWithoutAFreePort) {
    int last = 65535;
    const int taken = DACPSocketCreate(&last, 1);
    ClearLog();
    for (const int wanted : {65535, 65536, 70000, -1}) {
        int port = wanted;
        EXPECT_EQ(DACPSocketCreate(&port, 1), -1);
        EXPECT_EQ(port, wanted);
        EXPECT_TRUE(Logged("socket:\\d+ Failed to bind port " + std::to_string(wanted) + "\\.$"));
    }
    EXPECT_EQ(DACPSocketCreate(nullptr, 1), -1);
    EXPECT_TRUE(Logged("socket:\\d+ Bad parameter$"));
    if (taken >= 0) {
        close(taken);
    }
}

TEST_F(ChannelTest, AcceptFailsOnOtherDescriptors) {
    EXPECT_EQ(SocketAccept(-1), -1);
    EXPECT_TRUE(Logged("socket:\\d+ Bad parameter$"));
    ClearLog();
    const int file = open("/dev/null", O_RDONLY | O_CLOEXEC);
    EXPECT_EQ(SocketAccept(file), -1);
    EXPECT_TRUE(Logged("socket:\\d+ Failed to accept client\\. \\[Socket operation on non-socket"));
    close(file);
    ClearLog();
    EXPECT_EQ(SocketAccept(file), -1) << "closed already";
    EXPECT_TRUE(Logged("Failed to accept client\\. \\[Bad file descriptor"));
}

TEST_F(ChannelTest, SocketsFailWithoutRightsOrDescriptors) {
    EXPECT_TRUE(HoldsInChild([&] {
        int lowest = 0;  // of the ports for every account
        std::ifstream("/proc/sys/net/ipv4/ip_unprivileged_port_start") >> lowest;
        if (IsRoot() && lowest > 80) {
            ResetCredentialsByName("alice", false);
            int port = 80;
            EXPECT_EQ(DACPSocketCreate(&port, 1), -1);
            EXPECT_EQ(port, 80) << "a forbidden port is not a taken one";
            EXPECT_TRUE(Logged("socket:\\d+ Failed to bind port 80\\.$"));
        }
        rlimit none = {0, 0};
        setrlimit(RLIMIT_NOFILE, &none);
        int port = 0;
        EXPECT_EQ(DomainSocketCreate((scratch() / "socket").c_str(), 1), -1);
        EXPECT_EQ(DACPSocketCreate(&port, 1), -1);
    }));
    EXPECT_TRUE(Logged("socket:\\d+ Failed to connect socket\\.$"));
    EXPECT_TRUE(Logged("socket:\\d+ Failed to chmod \\[.*/socket\\]"));
}

TEST_F(ChannelTest, SharedMemoryIsSharedUntilItIsRemoved) {
    const int key = 0x54560000 | (getpid() & 0xFFFF);
    constexpr int kSize = 10000;
    EXPECT_EQ(VARNAudioShmAttach(key, kSize, 0), nullptr);
    EXPECT_TRUE(Logged("shm:\\d+ Failed to create shared memory\\. key\\[" + std::to_string(key) +
                       "\\], size\\[10000\\], \\[No such file"));
    auto *first = static_cast<char *>(VARNAudioShmAttach(key, kSize, 1));
    ASSERT_NE(first, nullptr);
    auto *second = static_cast<char *>(VARNAudioShmAttach(key, kSize / 2, 0));
    ASSERT_NE(second, nullptr);
    EXPECT_NE(first, second);
    std::strcpy(first + kSize / 2 - 10, "shared");
    EXPECT_STREQ(second + kSize / 2 - 10, "shared");
    shmid_ds state = {};
    ASSERT_EQ(shmctl(shmget(key, 0, 0), IPC_STAT, &state), 0);
    EXPECT_EQ(state.shm_perm.mode & 0777, 0666);
    EXPECT_EQ(state.shm_segsz, static_cast<std::size_t>(kSize));

    ClearLog();
    // More than the size of the segment is refused, and so is a negative size.
    for (const int size : {kSize + 1, -1}) {
        EXPECT_EQ(VARNAudioShmAttach(key, size, 1), nullptr);
        EXPECT_EQ(VARNAudioShmRemove(key, size), -1);
    }
    EXPECT_TRUE(Logged("shm:\\d+ Get shared memory fail\\. Might not exist\\.\\(Invalid"));
    EXPECT_EQ(VARNAudioShmRemove(key, kSize), 0);
    EXPECT_STREQ(second + kSize / 2 - 10, "shared") << "it went while it was mapped";
    EXPECT_EQ(VARNAudioShmDetach(first), 0);
    EXPECT_EQ(VARNAudioShmDetach(second), 0);
    ClearLog();
    EXPECT_EQ(VARNAudioShmDetach(first), -1);
    EXPECT_TRUE(Logged("shm:\\d+ Failed to detach shared memory\\.$"));
    EXPECT_EQ(VARNAudioShmRemove(key, kSize), -1);
    EXPECT_TRUE(Logged("shm:\\d+ Get shared memory fail\\. Might not exist\\.\\(No such file"));
}

TEST_F(ChannelTest, SharedMemoryOfAnotherAccountStays) {
    if (!IsRoot()) {
        GTEST_SKIP() << "needs root's rights";
    }
    const int key = 0x54570000 | (getpid() & 0xFFFF);
    void *segment = VARNAudioShmAttach(key, 100, 1);
    ASSERT_NE(segment, nullptr);
    EXPECT_TRUE(HoldsInChild([&] {
        ResetCredentialsByName("alice", false);
        void *shared = VARNAudioShmAttach(key, 100, 0);
        EXPECT_NE(shared, nullptr) << "segments are for every account";
        EXPECT_EQ(VARNAudioShmRemove(key, 100), -1);
    }));
    EXPECT_TRUE(Logged("shm:\\d+ Failed to remove shared memory\\.\\(Operation not permitted"));
    EXPECT_EQ(VARNAudioShmRemove(key, 100), 0);
    EXPECT_EQ(VARNAudioShmDetach(segment), 0);
}

}  // namespace
