#include "output_reader.hpp"

#include <errno.h>
#include <poll.h>
#include <unistd.h>

#include <utility>

namespace platform {

OutputReader::OutputReader(Child child, const Limits& limits)
    : child_(std::move(child)),
      out_(child_.TakeOut()),
      deadline_(DeadlineAfter(limits.timeLimit)),
      cap_(limits.outputCap) {}

OutputReader::~OutputReader() {
    Finish();
}

ssize_t OutputReader::Read(char* buffer, size_t size) {
    if (out_ < 0 || struck_ != RunResult::Kind::kExited) return 0;
    for (;;) {
        struct pollfd ready = {out_, POLLIN, 0};
        int count = poll(&ready, 1, PollWait(deadline_));
        if (count < 0 && errno == EINTR) continue;
        if (count == 0) {
            Strike(RunResult::Kind::kTimedOut);
            return 0;
        }
        ssize_t n = read(out_, buffer, size);
        if (n < 0 && errno == EINTR) continue;
        if (n > 0 && cap_ != 0 && read_ + size_t(n) > cap_) {
            Strike(RunResult::Kind::kOutputCapped);
            return 0;
        }
        if (n > 0) read_ += size_t(n);
        return n;
    }
}

void OutputReader::Strike(RunResult::Kind limit) {
    struck_ = limit;
    child_.Kill();
}

RunResult OutputReader::Finish() {
    if (out_ >= 0) close(out_);
    out_ = -1;
    if (struck_ != RunResult::Kind::kExited) return {struck_, 0};
    if (!child_.started()) return {};
    RunResult result = deadline_ < 0 ? child_.Wait() : child_.WaitUntil(deadline_);
    if (result.kind == RunResult::Kind::kTimedOut) struck_ = result.kind;
    return result;
}

}  // namespace platform
