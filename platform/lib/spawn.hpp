// Starting programs: the one way the platform library and its tools run a process. No shell:
// a path and an argument vector, started with posix_spawn.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>
#include <vector>

namespace platform {

// How a run ended.
struct RunResult {
    enum class Kind { kExited, kSignaled, kNotStarted, kTimedOut };
    Kind kind = Kind::kNotStarted;
    int value = 0;  // the exit status (kExited) or the signal number (kSignaled)

    static RunResult OfWaitStatus(int status);
    bool ExitedWith(int status) const { return kind == Kind::kExited && value == status; }
    // The exit status of a normal end, else -1.
    int ExitStatus() const { return kind == Kind::kExited ? value : -1; }
    // As a shell tells it: the exit status, 128 + the signal, `other` for the rest.
    int ShellStatus(int other) const;
    // As waitpid reports it; -1 for a run that did not start or was stopped at its time limit.
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
};

// Bounds of a run; zero means no bound.
struct Limits {
    int timeLimit = 0;     // seconds; the program is killed when they pass
    size_t outputCap = 0;  // bytes of output kept; the rest is read and dropped
};

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
    // Ends a running program (SIGKILL) and reaps it.
    void Kill();

  private:
    static int Take(int& fd);
    void CloseAll();

    pid_t pid_ = -1;
    int in_ = -1, out_ = -1, err_ = -1;
};

// Runs argv[0] with input on its stdin and its stdout and stderr collected into output, within
// the limits.
RunResult Run(const std::vector<std::string>& argv, const std::string& input, std::string& output,
              const Limits& limits = {});

}  // namespace platform
