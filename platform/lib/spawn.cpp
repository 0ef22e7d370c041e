#include "spawn.hpp"
#include "platform_paths.hpp"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <utility>

#include "sig_pipe_guard.hpp"

extern char** environ;

namespace platform {

RunResult RunResult::OfWaitStatus(int status) {
    if (WIFEXITED(status)) return {Kind::kExited, WEXITSTATUS(status)};
    if (WIFSIGNALED(status)) return {Kind::kSignaled, WTERMSIG(status)};
    return {Kind::kNotStarted, 0};
}

int RunResult::ShellStatus(int other) const {
    switch (kind) {
        case Kind::kExited:
            return value;
        case Kind::kSignaled:
            return 128 + value;
        default:
            return other;
    }
}

int RunResult::WaitStatus() const {
    switch (kind) {
        case Kind::kExited:
            return W_EXITCODE(value, 0);
        case Kind::kSignaled:
            return value;
        case Kind::kTimedOut:
            return W_EXITCODE(kTimedOutStatus, 0);
        case Kind::kOutputCapped:
            return SIGKILL;
        default:
            return -1;
    }
}

namespace {

std::atomic<int> gDefaultTimeLimit{kDefaultTimeLimit};
std::atomic<size_t> gDefaultOutputCap{kDefaultOutputCap};

class SpawnActions {
  public:
    SpawnActions() { posix_spawn_file_actions_init(&actions_); }
    ~SpawnActions() { posix_spawn_file_actions_destroy(&actions_); }
    SpawnActions(const SpawnActions&) = delete;
    SpawnActions& operator=(const SpawnActions&) = delete;

    void Open(int fd, int flags) {
        posix_spawn_file_actions_addopen(&actions_, fd, kNullDevice, flags, 0);
    }
    void Dup(int from, int to) { posix_spawn_file_actions_adddup2(&actions_, from, to); }
    const posix_spawn_file_actions_t* Get() const { return &actions_; }

  private:
    posix_spawn_file_actions_t actions_;
};

// SIGPIPE at its default whatever the host ignores (a tool whose reader went away ends), and a
// process group of the program's own when wanted.
class SpawnAttributes {
  public:
    explicit SpawnAttributes(bool ownGroup) {
        posix_spawnattr_init(&attributes_);
        sigset_t defaults;
        sigemptyset(&defaults);
        sigaddset(&defaults, SIGPIPE);
        posix_spawnattr_setsigdefault(&attributes_, &defaults);
        posix_spawnattr_setpgroup(&attributes_, 0);
        posix_spawnattr_setflags(&attributes_,
                                 POSIX_SPAWN_SETSIGDEF | (ownGroup ? POSIX_SPAWN_SETPGROUP : 0));
    }
    ~SpawnAttributes() { posix_spawnattr_destroy(&attributes_); }
    SpawnAttributes(const SpawnAttributes&) = delete;
    SpawnAttributes& operator=(const SpawnAttributes&) = delete;
    const posix_spawnattr_t* Get() const { return &attributes_; }

  private:
    posix_spawnattr_t attributes_;
};

long long NowMs() {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000LL + now.tv_nsec / 1000000;
}

void CloseFd(int& fd) {
    if (fd >= 0) close(fd);
    fd = -1;
}

// The pipe for one stream: `child` is the end the program gets, `parent` the caller's.
struct Pipe {
    int parent = -1, child = -1;
    bool Open(bool childReads) {
        int fds[2];
        if (pipe2(fds, O_CLOEXEC) != 0) return false;
        parent = childReads ? fds[1] : fds[0];
        child = childReads ? fds[0] : fds[1];
        return true;
    }
    ~Pipe() {
        CloseFd(parent);
        CloseFd(child);
    }
};

}  // namespace

int DefaultTimeLimit() {
    return gDefaultTimeLimit;
}

size_t DefaultOutputCap() {
    return gDefaultOutputCap;
}

void SetDefaultLimits(int timeLimit, size_t outputCap) {
    gDefaultTimeLimit = timeLimit;
    gDefaultOutputCap = outputCap;
}

long long DeadlineAfter(int seconds) {
    return seconds > 0 ? NowMs() + seconds * 1000LL : -1;
}

int PollWait(long long deadline) {
    return deadline < 0 ? -1 : static_cast<int>(std::max(0LL, deadline - NowMs()));
}

Child::~Child() {
    CloseAll();
    if (started()) Wait();
}

Child::Child(Child&& other) noexcept {
    *this = std::move(other);
}

Child& Child::operator=(Child&& other) noexcept {
    std::swap(pid_, other.pid_);
    std::swap(ownGroup_, other.ownGroup_);
    std::swap(in_, other.in_);
    std::swap(out_, other.out_);
    std::swap(err_, other.err_);
    return *this;
}

int Child::Take(int& fd) {
    return std::exchange(fd, -1);
}

void Child::CloseAll() {
    CloseFd(in_);
    CloseFd(out_);
    CloseFd(err_);
}

Child Child::Start(const char* path, char* const argv[], const Streams& streams) {
    Child child;
    Pipe in, out, err;
    if ((streams.in == Stream::kPipe && !in.Open(true)) ||
        (streams.out == Stream::kPipe && !out.Open(false)) ||
        (streams.err == Stream::kPipe && !err.Open(false))) {
        return child;
    }
    SpawnActions actions;
    if (streams.in == Stream::kNull) actions.Open(0, O_RDONLY);
    if (streams.in == Stream::kPipe) actions.Dup(in.child, 0);
    if (streams.out == Stream::kNull) actions.Open(1, O_WRONLY);
    if (streams.out == Stream::kPipe) actions.Dup(out.child, 1);
    if (streams.err == Stream::kNull) actions.Open(2, O_WRONLY);
    if (streams.err == Stream::kPipe) actions.Dup(err.child, 2);
    if (streams.err == Stream::kJoined) actions.Dup(1, 2);
    SpawnAttributes attributes(streams.ownGroup);
    pid_t pid = -1;
    int error = posix_spawn(&pid, path, actions.Get(), attributes.Get(), argv, environ);
    if (error != 0) {
        errno = error;
        return child;
    }
    child.pid_ = pid;
    child.ownGroup_ = streams.ownGroup;
    child.in_ = std::exchange(in.parent, -1);
    child.out_ = std::exchange(out.parent, -1);
    child.err_ = std::exchange(err.parent, -1);
    return child;
}

Child Child::Start(const std::string& path, const std::vector<std::string>& argv,
                   const Streams& streams) {
    std::vector<char*> array;
    for (const std::string& arg : argv) array.push_back(const_cast<char*>(arg.c_str()));
    array.push_back(nullptr);
    return Start(path.c_str(), array.data(), streams);
}

RunResult Child::Wait() {
    CloseAll();
    if (!started()) return {};
    int status = 0;
    pid_t pid = std::exchange(pid_, -1);
    while (waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR) return {};
    }
    return RunResult::OfWaitStatus(status);
}

RunResult Child::WaitUntil(long long deadlineMs) {
    CloseAll();
    if (!started()) return {};
    const struct timespec pause = {0, 10 * 1000000};
    for (int status = 0;;) {
        pid_t ended = waitpid(pid_, &status, WNOHANG);
        if (ended == pid_) {
            pid_ = -1;
            return RunResult::OfWaitStatus(status);
        }
        if (ended < 0 && errno != EINTR) return Wait();
        if (NowMs() >= deadlineMs) break;
        nanosleep(&pause, nullptr);
    }
    Kill();
    return {RunResult::Kind::kTimedOut, 0};
}

void Child::Kill() {
    if (started()) kill(ownGroup_ ? -pid_ : pid_, SIGKILL);
    Wait();
}

namespace {

// Feeds input to `in` and collects `out` until the program closes its output: kExited then, or
// the limit that struck first (the deadline, -1 for none, or more output than the cap: the output
// keeps the first cap bytes).
RunResult::Kind Exchange(int& in, int& out, const std::string& input, std::string& output,
                         size_t cap, long long deadline) {
    SigPipeGuard guard;
    if (in >= 0) fcntl(in, F_SETFL, O_NONBLOCK);
    size_t written = 0;
    if (input.empty()) CloseFd(in);
    while (out >= 0) {
        struct pollfd fds[2] = {{out, POLLIN, 0}, {in, POLLOUT, 0}};
        int wait = PollWait(deadline);
        int ready = poll(fds, in >= 0 ? 2 : 1, wait);
        if (ready < 0 && errno == EINTR) continue;
        if (ready < 0) break;
        if (ready == 0) return RunResult::Kind::kTimedOut;
        if (in >= 0 && fds[1].revents != 0) {
            ssize_t n = write(in, input.data() + written, input.size() - written);
            if (n > 0) written += static_cast<size_t>(n);
            if ((n < 0 && errno != EAGAIN && errno != EINTR) || written == input.size()) {
                CloseFd(in);
            }
        }
        if (fds[0].revents == 0) continue;
        char buffer[4096];
        ssize_t n = read(out, buffer, sizeof(buffer));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        if (cap != 0 && output.size() + size_t(n) > cap) {
            output.append(buffer, cap - output.size());
            return RunResult::Kind::kOutputCapped;
        }
        output.append(buffer, size_t(n));
    }
    return RunResult::Kind::kExited;
}

}  // namespace

RunResult Run(const std::vector<std::string>& argv, const std::string& input, std::string& output,
              const Limits& limits) {
    if (argv.empty()) return {};
    Child child = Child::Start(argv[0], argv, {Stream::kPipe, Stream::kPipe, Stream::kJoined});
    if (!child.started()) return {};
    int in = child.TakeIn(), out = child.TakeOut();
    long long deadline = DeadlineAfter(limits.timeLimit);
    RunResult::Kind end = Exchange(in, out, input, output, limits.outputCap, deadline);
    CloseFd(in);
    CloseFd(out);
    if (end != RunResult::Kind::kExited) {
        child.Kill();
        return {end, 0};
    }
    return deadline < 0 ? child.Wait() : child.WaitUntil(deadline);
}

}  // namespace platform
