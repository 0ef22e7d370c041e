// A started program's output, read within limits: no later than its deadline and no more than
// its cap. A run that passes either is ended and counts as failed.
#pragma once

#include <sys/types.h>

#include "spawn.hpp"

namespace platform {

class OutputReader {
  public:
    // Takes the child and its stdout pipe; the time limit counts from now.
    OutputReader(Child child, const Limits& limits);
    ~OutputReader();
    OutputReader(const OutputReader&) = delete;
    OutputReader& operator=(const OutputReader&) = delete;

    // Up to size bytes; 0 at the end of the output or once a limit struck (the program is then
    // killed), -1 on a read error.
    ssize_t Read(char* buffer, size_t size);
    // Closes the output and waits for the end, until the deadline; kTimedOut or kOutputCapped
    // when a limit struck.
    RunResult Finish();

  private:
    void Strike(RunResult::Kind limit);

    Child child_;
    int out_;
    long long deadline_;
    size_t cap_;
    size_t read_ = 0;
    RunResult::Kind struck_ = RunResult::Kind::kExited;
};

}  // namespace platform
