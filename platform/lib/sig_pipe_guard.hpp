// Keeps SIGPIPE from the platform libraries' writes away from the host process.
#pragma once

#include <pthread.h>
#include <signal.h>

namespace platform {

// Keeps writes to a peer that went away (an LDAP server, a tool's stdin) from raising SIGPIPE in
// the host process: blocks SIGPIPE on the calling thread for the guard's life, then discards a
// SIGPIPE that became pending meanwhile and restores the thread's mask. Nothing is done when the
// caller blocks SIGPIPE already.
class SigPipeGuard {
  public:
    SigPipeGuard() {
        sigemptyset(&pipe_);
        sigaddset(&pipe_, SIGPIPE);
        active_ = pthread_sigmask(SIG_BLOCK, &pipe_, &old_) == 0 && !sigismember(&old_, SIGPIPE);
    }
    ~SigPipeGuard() {
        if (!active_) return;
        sigset_t pending;
        if (sigpending(&pending) == 0 && sigismember(&pending, SIGPIPE)) {
            struct timespec zero = {0, 0};
            sigtimedwait(&pipe_, nullptr, &zero);
        }
        pthread_sigmask(SIG_SETMASK, &old_, nullptr);
    }
    SigPipeGuard(const SigPipeGuard&) = delete;
    SigPipeGuard& operator=(const SigPipeGuard&) = delete;

  private:
    sigset_t pipe_;
    sigset_t old_;
    bool active_ = false;
};

}  // namespace platform
