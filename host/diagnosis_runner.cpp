#include "diagnosis_runner.hpp"

#include <algorithm>
#include <chrono>
#include <thread>

bool IsFatalReply(const Json::Value& reply) {
    return !reply["success"].asBool() && ReplyLevel(reply) == 0;
}

DiagnosisRunner::DiagnosisRunner(const RequestDispatcher& dispatcher, const CallRequest& caller,
                                 const CheckList& list, size_t workers)
    : dispatcher_(dispatcher),
      caller_(caller),
      list_(list),
      workers_(std::max<size_t>(1, workers)) {}

std::vector<CheckRecord> DiagnosisRunner::Run(const Json::Value& inputs, RunObserver& observer) {
    records_.clear();
    for (const StageSpec& stage : list_.stages) {
        for (const CheckSpec& check : stage.checks) {
            CheckRecord record;
            record.spec = &check;
            record.stage = stage.name;
            records_.push_back(record);
        }
    }
    size_t first = 0;
    for (size_t index = 0; index < list_.stages.size(); ++index) {
        const StageSpec& stage = list_.stages[index];
        if (!cancelled_ && stoppedBy_.empty()) {
            observer.StageStarted(stage, index, list_.stages.size());
        }
        RunStage(stage, first, inputs, observer);
        first += stage.checks.size();
    }
    return records_;
}

void DiagnosisRunner::Cancel() {
    cancelled_ = true;
    changed_.notify_all();
}

void DiagnosisRunner::RunStage(const StageSpec& stage, size_t first, const Json::Value& inputs,
                               RunObserver& observer) {
    std::vector<std::thread> workers;
    std::unique_lock<std::mutex> lock(mutex_);
    for (size_t offset = 0; offset < stage.checks.size(); ++offset) {
        const CheckSpec& check = stage.checks[offset];
        size_t index = first + offset;
        if (!check.independent) WaitForAll(lock);
        if (!WaitForTurn(check, lock)) {
            MarkNotRun(index, observer);
            continue;
        }
        Json::Value params = list_.ResolveParams(check, inputs, answers_);
        running_[check.id] = &check;
        observer.CheckStarted(check);
        if (check.independent) {
            workers.emplace_back(
                [this, index, params, &observer] { Execute(index, params, observer); });
        } else {
            lock.unlock();
            Execute(index, params, observer);
            lock.lock();
        }
    }
    WaitForAll(lock);
    lock.unlock();
    for (std::thread& worker : workers) worker.join();
}

bool DiagnosisRunner::WaitForTurn(const CheckSpec& check, std::unique_lock<std::mutex>& lock) {
    changed_.wait(lock, [&] {
        if (cancelled_ || !stoppedBy_.empty()) return true;
        if (running_.size() >= workers_) return false;
        for (const auto& other : running_) {
            if (other.second->stopOnError) return false;
            if (std::count(check.takesFrom.begin(), check.takesFrom.end(), other.first)) {
                return false;
            }
        }
        return true;
    });
    return !cancelled_ && stoppedBy_.empty();
}

void DiagnosisRunner::Execute(size_t index, const Json::Value& params, RunObserver& observer) {
    const CheckSpec& check = *records_[index].spec;
    CallRequest request = caller_;
    request.api = check.api;
    request.method = check.method;
    request.version = check.version;
    request.params = params;
    auto start = std::chrono::steady_clock::now();
    CallResult result = dispatcher_.Call(request);
    std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;

    std::lock_guard<std::mutex> lock(mutex_);
    CheckRecord& record = records_[index];
    record.params = params;
    record.seconds = took.count();
    if (result.reply.isNull()) {
        record.outcome = CheckRecord::Outcome::kUnavailable;
    } else {
        record.outcome = CheckRecord::Outcome::kAnswered;
        record.reply = result.reply;
        answers_[check.id] = result.reply;
        if (check.stopOnError && IsFatalReply(result.reply) && stoppedBy_.empty()) {
            stoppedBy_ = check.id;
        }
    }
    running_.erase(check.id);
    observer.CheckFinished(record);
    changed_.notify_all();
}

void DiagnosisRunner::WaitForAll(std::unique_lock<std::mutex>& lock) {
    changed_.wait(lock, [this] { return running_.empty(); });
}

void DiagnosisRunner::MarkNotRun(size_t index, RunObserver& observer) {
    CheckRecord& record = records_[index];
    if (cancelled_) {
        record.outcome = CheckRecord::Outcome::kCancelled;
    } else {
        record.outcome = CheckRecord::Outcome::kSkipped;
        record.stoppedBy = stoppedBy_;
    }
    observer.CheckFinished(record);
}
