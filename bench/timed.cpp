// timed COMMAND [ARG...]: runs a command with its output on standard error, and prints the seconds
// it took and the most memory it held, in KiB, on one line; nothing when the command failed.
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>

int main(int argc, char **argv) {
    if (argc < 2) {
        std::fprintf(stderr, "Usage: timed COMMAND [ARG...]\n");
        return 2;
    }
    using Clock = std::chrono::steady_clock;
    posix_spawn_file_actions_t toStderr;
    posix_spawn_file_actions_init(&toStderr);
    posix_spawn_file_actions_adddup2(&toStderr, STDERR_FILENO, STDOUT_FILENO);
    const Clock::time_point start = Clock::now();
    pid_t child = 0;
    if (posix_spawnp(&child, argv[1], &toStderr, nullptr, argv + 1, environ) != 0) {
        std::perror(argv[1]);
        return 127;
    }
    int status = 1;
    rusage usage = {};
    wait4(child, &status, 0, &usage);
    const std::chrono::duration<double> seconds = Clock::now() - start;
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        std::fprintf(stderr, "timed: %s failed\n", argv[1]);
        return 1;
    }
    std::printf("%.3f %ld\n", seconds.count(), usage.ru_maxrss);
    return 0;
}
