// Starting programs: the one way the platform library and its tools run a process. No shell:
// a path and an argument vector, started with posix_spawn.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>
#include <vector>

namespace platform {

// The exit status of a run stopped at its time limit, as the timeout tool gives it.
inline constexpr int kTimedOutStatus = 124;

// How a run ended.
struct RunResult {
    enum class Kind { kExited, kSignaled, kNotStarted, kTimedOut, kOutputCapped };
    Kind kind = Kind::kNotStarted;
    int value = 0;  // the exit status (kExited) or the signal number (kSignaled)

    static RunResult OfWaitStatus(int status);
    bool ExitedWith(int status) const { return kind == Kind::kExited && value == status; }
    // The exit status of a normal end, else -1.
    int ExitStatus() const { return kind == Kind::kExited ? value : -1; }
    // As a shell tells it: the exit status, 128 + the signal, `other` for the rest.
    int ShellStatus(int other) const;
    // As waitpid reports it: a run stopped at its time limit exits with 124 (as under the timeout
    // tool), one stopped at its output cap was killed; -1 for a run that did not start.
    int WaitStatus() const;
};

// Where a standard stream of the child goes.
enum class Stream {
    kNull,     // /dev/null
    kPipe,     // a pipe to the caller
    kInherit,  // the caller's own
    kJoined,   // standard error only: into the stdout pipe or file
};

struct Streams {
    Stream in = Stream::kNull;
    Stream out = Stream::kPipe;
    Stream err = Stream::kInherit;
    // A process group of the program's own, so that Kill ends what it started too; a wrapper
    // that passes signals on (the net front) keeps its program in its own group instead.
    bool ownGroup = true;
};

// The bounds of every run that names none: kDefaultTimeLimit seconds and kDefaultOutputCap bytes
// (platform_paths.hpp) unless the process set others.
int DefaultTimeLimit();
size_t DefaultOutputCap();
void SetDefaultLimits(int timeLimit, size_t outputCap);

// Bounds of a run; zero means no bound. The program is killed when its time passes, or when its
// output exceeds the cap (the run then failed).
struct Limits {
    int timeLimit = DefaultTimeLimit();  // seconds
    size_t outputCap = DefaultOutputCap();
};

// The CLOCK_MONOTONIC time in milliseconds at which a time limit in seconds strikes; -1 for none.
long long DeadlineAfter(int seconds);
// Milliseconds left until deadline, as poll takes them: -1 for none, 0 once it passed.
int PollWait(long long deadline);

// A started program and the caller's ends of its pipes (-1 where there is none).
class Child {
  public:
    Child() = default;
    ~Child();
    Child(Child&& other) noexcept;
    Child& operator=(Child&& other) noexcept;
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    // Starts path with argv (argv[0] included). started() is false when it could not start, with
    // errno telling why.
    static Child Start(const char* path, char* const argv[], const Streams& streams);
    static Child Start(const std::string& path, const std::vector<std::string>& argv,
                       const Streams& streams);

    bool started() const { return pid_ > 0; }
    pid_t pid() const { return pid_; }
    // The pipe ends; the caller owns what it takes (and closes it).
    int TakeIn() { return Take(in_); }
    int TakeOut() { return Take(out_); }
    int TakeErr() { return Take(err_); }

    // Waits for the end (closing pipe ends still held first); kNotStarted when never started.
    RunResult Wait();
    // The same until the CLOCK_MONOTONIC time deadlineMs; a program still running then is
    // killed and the result is kTimedOut.
    RunResult WaitUntil(long long deadlineMs);
    // Ends a running program (SIGKILL), with its process group when it has its own, and reaps it.
    void Kill();

  private:
    static int Take(int& fd);
    void CloseAll();

    pid_t pid_ = -1;
    bool ownGroup_ = false;
    int in_ = -1, out_ = -1, err_ = -1;
};

// Runs argv[0] with input on its stdin and its stdout and stderr collected into output, within
// the limits (the defaults when none are given).
RunResult Run(const std::vector<std::string>& argv, const std::string& input, std::string& output,
              const Limits& limits = {});

}  // namespace platform
