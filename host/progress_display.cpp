#include "progress_display.hpp"

#include <unistd.h>

namespace {

const int kBarWidth = 20;

std::string Outcome(const CheckRecord& record) {
    switch (record.outcome) {
        case CheckRecord::Outcome::kUnavailable:
            return "not offered";
        case CheckRecord::Outcome::kSkipped:
            return "not run";
        case CheckRecord::Outcome::kCancelled:
            return "cancelled";
        case CheckRecord::Outcome::kAnswered:
            break;
    }
    if (record.reply["success"].asBool()) return "ok";
    return std::string(ReplyLevel(record.reply) == 1 ? "warning " : "error ") +
           record.reply["error"]["code"].asString();
}

}  // namespace

ProgressDisplay::ProgressDisplay(Mode mode, FILE* out) : mode_(mode), out_(out) {
    if (mode_ == Mode::kLive) ticker_ = std::thread(&ProgressDisplay::Tick, this);
}

ProgressDisplay::~ProgressDisplay() {
    Finish();
}

ProgressDisplay::Mode ProgressDisplay::ModeFor(FILE* out) {
    return isatty(fileno(out)) ? Mode::kLive : Mode::kPlain;
}

double ProgressDisplay::Elapsed() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
}

void ProgressDisplay::StageStarted(const StageSpec& stage, size_t index, size_t count) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (mode_ == Mode::kLive && !stage_.empty()) {
        Draw();
        fputc('\n', out_);
    }
    stage_ = stage.name;
    stageIndex_ = index + 1;
    stageCount_ = count;
    stageChecks_ = stage.checks.size();
    stageDone_ = 0;
    if (mode_ == Mode::kPlain) {
        fprintf(out_, "[%zu/%zu] %s: %zu checks\n", stageIndex_, stageCount_, stage_.c_str(),
                stageChecks_);
    }
    if (mode_ == Mode::kLive) Draw();
}

void ProgressDisplay::CheckStarted(const CheckSpec& check) {
    std::lock_guard<std::mutex> lock(mutex_);
    running_.insert(check.id);
    if (mode_ == Mode::kLive) Draw();
}

void ProgressDisplay::CheckFinished(const CheckRecord& record) {
    std::lock_guard<std::mutex> lock(mutex_);
    running_.erase(record.spec->id);
    ++stageDone_;
    if (mode_ == Mode::kPlain && record.outcome == CheckRecord::Outcome::kAnswered) {
        fprintf(out_, "  %-20s %-14s %.1f s\n", record.spec->id.c_str(), Outcome(record).c_str(),
                record.seconds);
    }
    if (mode_ == Mode::kLive) Draw();
    fflush(out_);
}

void ProgressDisplay::Draw() {
    size_t filled = stageChecks_ ? stageDone_ * kBarWidth / stageChecks_ : kBarWidth;
    std::string bar(filled, '#');
    bar.resize(kBarWidth, '.');
    std::string running;
    for (const std::string& id : running_) running += (running.empty() ? "" : ", ") + id;
    fprintf(out_, "\r\033[K[%zu/%zu] %-10s [%s] %zu/%zu %5.1f s  %s", stageIndex_, stageCount_,
            stage_.c_str(), bar.c_str(), stageDone_, stageChecks_, Elapsed(),
            running.substr(0, 60).c_str());
    fflush(out_);
}

void ProgressDisplay::Tick() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (!wake_.wait_for(lock, std::chrono::milliseconds(200), [this] { return finished_; })) {
        if (!stage_.empty()) Draw();
    }
}

void ProgressDisplay::Finish() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (finished_) return;
        finished_ = true;
        if (mode_ == Mode::kLive && !stage_.empty()) {
            Draw();
            fputc('\n', out_);
        }
    }
    wake_.notify_all();
    if (ticker_.joinable()) ticker_.join();
}
