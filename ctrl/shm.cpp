#include <sys/ipc.h>
#include <sys/shm.h>

#include <cstdint>

#include "ctrl/source.h"
#include "support/log.h"
#include "tonvale/players.h"

namespace {

using Tonvale::ctrl::kShm;

constexpr int kPermissions = 0666;

// A size below 0 is larger than any segment can be.
std::size_t SegmentSize(int size) {
    return static_cast<std::size_t>(size);
}

}  // namespace

void *VARNAudioShmAttach(int key, int size, int create) noexcept {
    const int flags = kPermissions | (create != 0 ? IPC_CREAT : 0);
    const int id = shmget(key, SegmentSize(size), flags);
    if (id == -1) {
        LOG_ERROR(kShm, "Failed to create shared memory. key[%d], size[%d], [%m]", key, size);
        return nullptr;
    }
    void *address = shmat(id, nullptr, 0);
    if (reinterpret_cast<intptr_t>(address) == -1) {
        LOG_ERROR(kShm, "Failed to attach shared memory. [%m]");
        return nullptr;
    }
    return address;
}

int VARNAudioShmDetach(const void *address) noexcept {
    if (shmdt(address) != 0) {
        LOG_ERROR(kShm, "Failed to detach shared memory.");
        return -1;
    }
    return 0;
}

int VARNAudioShmRemove(int key, int size) noexcept {
    const int id = shmget(key, SegmentSize(size), kPermissions);
    if (id == -1) {
        LOG_ERROR(kShm, "Get shared memory fail. Might not exist.(%m)");
        return -1;
    }
    const int result = shmctl(id, IPC_RMID, nullptr);
    if (result != 0) {
        LOG_ERROR(kShm, "Failed to remove shared memory.(%m)");
    }
    return result;
}
