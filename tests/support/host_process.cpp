#include "host_process.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "fixture.hpp"
#include "sandbox.hpp"

extern char** environ;

HostRun RunHost(std::vector<std::string> args, pid_t* background, const char* input) {
    args.insert(args.begin(), DSCHECK_BINARY_DIR "/dscheck");
    std::vector<char*> argv;
    for (std::string& arg : args) argv.push_back(arg.data());
    argv.push_back(nullptr);
    int fds[2];
    EXPECT_EQ(pipe2(fds, O_CLOEXEC), 0);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (background != nullptr) {
        posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    } else {
        posix_spawn_file_actions_adddup2(&actions, fds[1], 1);
    }
    posix_spawn_file_actions_addopen(&actions, 0, input, O_RDONLY, 0);
    pid_t pid = -1;
    EXPECT_EQ(posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ), 0);
    posix_spawn_file_actions_destroy(&actions);
    close(fds[1]);
    if (background != nullptr) {
        *background = pid;
        close(fds[0]);
        return {0, ""};
    }
    std::string output;
    char buffer[4096];
    ssize_t n;
    while ((n = read(fds[0], buffer, sizeof(buffer))) > 0) output.append(buffer, n);
    close(fds[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, output};
}

void InstallPretest(const std::string& fixture) {
    const std::string checkLists = "/usr/qarn/etc.defaults/directory/checklist/";
    Sandbox::WriteFile(checkLists + "domain_pretest", Fixture(fixture));
    Sandbox::WriteFile(checkLists + "report_catalog.json",
                       Sandbox::ReadFile(DSCHECK_SOURCE_DIR "/checklist/report_catalog.json"));
    Sandbox::WriteFile("/usr/qarn/etc/directory/.keep", "");
}
