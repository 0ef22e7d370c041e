// Shows a run's progress on standard error: on a terminal a live line per stage with a bar, the
// checks running now and the elapsed time; otherwise plain lines; nothing when quiet.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <set>
#include <string>
#include <thread>

#include "diagnosis_runner.hpp"

class ProgressDisplay : public RunObserver {
  public:
    enum class Mode { kQuiet, kPlain, kLive };

    ProgressDisplay(Mode mode, FILE* out);
    ~ProgressDisplay() override;
    // kLive on a terminal, kPlain otherwise.
    static Mode ModeFor(FILE* out);

    void StageStarted(const StageSpec& stage, size_t index, size_t count) override;
    void CheckStarted(const CheckSpec& check) override;
    void CheckFinished(const CheckRecord& record) override;
    // Ends the live line.
    void Finish();

  private:
    void Draw();
    void Tick();
    double Elapsed() const;

    Mode mode_;
    FILE* out_;
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    std::mutex mutex_;
    std::condition_variable wake_;
    std::thread ticker_;
    bool finished_ = false;
    std::string stage_;
    size_t stageIndex_ = 0, stageCount_ = 0, stageChecks_ = 0, stageDone_ = 0;
    std::set<std::string> running_;
};
