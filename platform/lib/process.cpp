// Programs run with posix_spawn: no shell, stdin from /dev/null, output through a pipe.
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <stdarg.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include <mutex>
#include <unordered_map>
#include <vector>

#include "qlibc.h"
#include "sig_pipe_guard.hpp"
#include "tool_run.hpp"

extern char** environ;

namespace {

enum ProcessError { kBadArgument = 0x100, kPipeFailed = 0x101, kSpawnFailed = 0x102 };

std::mutex gChildrenMutex;
std::unordered_map<FILE*, pid_t> gChildren;

// Output routing of a spawned program.
enum class Output { kPipe, kPipeWithErrors, kDiscard, kDiscardWithErrors };

class SpawnActions {
  public:
    SpawnActions() { posix_spawn_file_actions_init(&actions_); }
    ~SpawnActions() { posix_spawn_file_actions_destroy(&actions_); }
    SpawnActions(const SpawnActions&) = delete;
    SpawnActions& operator=(const SpawnActions&) = delete;

    void Route(Output output, int pipeWrite) {
        posix_spawn_file_actions_addopen(&actions_, 0, "/dev/null", O_RDONLY, 0);
        switch (output) {
            case Output::kPipe:
                posix_spawn_file_actions_adddup2(&actions_, pipeWrite, 1);
                break;
            case Output::kPipeWithErrors:
                posix_spawn_file_actions_adddup2(&actions_, pipeWrite, 1);
                posix_spawn_file_actions_adddup2(&actions_, pipeWrite, 2);
                break;
            case Output::kDiscard:
                posix_spawn_file_actions_addopen(&actions_, 1, "/dev/null", O_WRONLY, 0);
                break;
            case Output::kDiscardWithErrors:
                posix_spawn_file_actions_addopen(&actions_, 1, "/dev/null", O_WRONLY, 0);
                posix_spawn_file_actions_adddup2(&actions_, 1, 2);
                break;
        }
    }
    const posix_spawn_file_actions_t* Get() const { return &actions_; }

  private:
    posix_spawn_file_actions_t actions_;
};

pid_t Spawn(const char* path, char* const argv[], Output output, int pipeWrite) {
    SpawnActions actions;
    actions.Route(output, pipeWrite);
    pid_t pid = -1;
    int error = posix_spawn(&pid, path, actions.Get(), nullptr, argv, environ);
    if (error != 0) {
        QLIBCErrSetEx(kSpawnFailed, __FILE_NAME__, __LINE__);
        return -1;
    }
    return pid;
}

int WaitFor(pid_t pid) {
    int status = 0;
    while (waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR) return -1;
    }
    return status;
}

// Exit status of a program that ended normally, else -1.
int RunAndWait(const char* path, char* const argv[], Output output) {
    pid_t pid = Spawn(path, argv, output, -1);
    if (pid < 0) return -1;
    int status = WaitFor(pid);
    return (status != -1 && WIFEXITED(status)) ? WEXITSTATUS(status) : -1;
}

// Collects a null-terminated variadic argument list behind argv0.
std::vector<char*> CollectArguments(const char* argv0, va_list arguments) {
    std::vector<char*> argv{const_cast<char*>(argv0)};
    while (char* arg = va_arg(arguments, char*)) argv.push_back(arg);
    argv.push_back(nullptr);
    return argv;
}

}  // namespace

extern "C" FILE* QLIBCPopenv(const char* path, const char* mode, char* const argv[]) {
    if (path == nullptr || mode == nullptr || argv == nullptr || mode[0] != 'r') {
        QLIBCErrSetEx(kBadArgument, __FILE_NAME__, __LINE__);
        return nullptr;
    }
    int fds[2];
    if (pipe2(fds, O_CLOEXEC) != 0) {
        QLIBCErrSetEx(kPipeFailed, __FILE_NAME__, __LINE__);
        return nullptr;
    }
    Output output = strchr(mode, 'B') ? Output::kPipeWithErrors : Output::kPipe;
    pid_t pid = Spawn(path, argv, output, fds[1]);
    close(fds[1]);
    FILE* stream = pid < 0 ? nullptr : fdopen(fds[0], "r");
    if (stream == nullptr) {
        close(fds[0]);
        if (pid > 0) WaitFor(pid);
        return nullptr;
    }
    std::lock_guard<std::mutex> lock(gChildrenMutex);
    gChildren[stream] = pid;
    return stream;
}

extern "C" FILE* QLIBCPopen(const char* path, const char* mode, ...) {
    va_list arguments;
    va_start(arguments, mode);
    std::vector<char*> argv = CollectArguments(path, arguments);
    va_end(arguments);
    return QLIBCPopenv(path, mode, argv.data());
}

extern "C" int QLIBCPclose(FILE* stream) {
    pid_t pid = -1;
    {
        std::lock_guard<std::mutex> lock(gChildrenMutex);
        auto child = gChildren.find(stream);
        if (child == gChildren.end()) return -1;
        pid = child->second;
        gChildren.erase(child);
    }
    fclose(stream);
    return WaitFor(pid);
}

extern "C" int QLIBCExec(const char* path, const char* a1, const char* a2, const char* a3,
                         const char* a4) {
    if (path == nullptr) return -1;
    std::vector<char*> argv{const_cast<char*>(path)};
    for (const char* arg : {a1, a2, a3, a4}) {
        if (arg == nullptr) break;
        argv.push_back(const_cast<char*>(arg));
    }
    argv.push_back(nullptr);
    return RunAndWait(path, argv.data(), Output::kDiscard);
}

extern "C" int QLIBCExecl(const char* path, int options, ...) {
    if (path == nullptr) return -1;
    va_list arguments;
    va_start(arguments, options);
    std::vector<char*> argv = CollectArguments(path, arguments);
    va_end(arguments);
    Output output = options == QLIBC_EXEC_QUIET ? Output::kDiscardWithErrors : Output::kDiscard;
    return RunAndWait(path, argv.data(), output);
}

namespace {

// Writes all of input, then closes the pipe; a reader that is gone ends the writing.
void Feed(int fd, const std::string& input) {
    platform::SigPipeGuard guard;
    size_t written = 0;
    while (written < input.size()) {
        ssize_t n = write(fd, input.data() + written, input.size() - written);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        written += static_cast<size_t>(n);
    }
    close(fd);
}

std::string Drain(int fd) {
    std::string output;
    char buffer[4096];
    for (;;) {
        ssize_t n = read(fd, buffer, sizeof(buffer));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        output.append(buffer, static_cast<size_t>(n));
    }
    close(fd);
    return output;
}

}  // namespace

int RunTool(const std::vector<std::string>& argv, const std::string& input, std::string& output) {
    int in[2], out[2];
    if (argv.empty() || pipe2(in, O_CLOEXEC) != 0) return -1;
    if (pipe2(out, O_CLOEXEC) != 0) {
        close(in[0]);
        close(in[1]);
        return -1;
    }
    std::vector<char*> array;
    for (const std::string& arg : argv) array.push_back(const_cast<char*>(arg.c_str()));
    array.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in[0], 0);
    posix_spawn_file_actions_adddup2(&actions, out[1], 1);
    posix_spawn_file_actions_adddup2(&actions, out[1], 2);
    pid_t pid = -1;
    int error = posix_spawn(&pid, array[0], &actions, nullptr, array.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(in[0]);
    close(out[1]);
    if (error != 0) {
        close(in[1]);
        close(out[0]);
        return -1;
    }
    // Tool input is small (a password): it fits the pipe, so feeding first cannot deadlock.
    Feed(in[1], input);
    output = Drain(out[0]);
    int status = WaitFor(pid);
    return (status != -1 && WIFEXITED(status)) ? WEXITSTATUS(status) : -1;
}
