// Ctrl-C (SIGINT), SIGTERM and SIGHUP during a run: the first calls a handler on a thread of
// its own, so the run can end cleanly; a second one ends the process at once.
#pragma once

#include <functional>
#include <thread>

class Interruption {
  public:
    explicit Interruption(std::function<void()> onInterrupt);
    ~Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    bool Interrupted() const;

  private:
    void Watch();

    std::function<void()> onInterrupt_;
    std::thread watcher_;
};
