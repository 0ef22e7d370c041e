// The runner's commands: "run TEST_TYPE", "join", "history", "show RUN", "diff RUN_A RUN_B".
#pragma once

#include <json/value.h>

#include <string>
#include <vector>

#include "check_list.hpp"
#include "report_formatter.hpp"
#include "request_dispatcher.hpp"

struct RunOptions {
    std::string testType;  // empty for the join
    Json::Value inputs{Json::objectValue};
    ReportFormatter::Format format = ReportFormatter::Format::kText;
    bool quiet = false;
    size_t jobs = 4;
    std::string dataDirectory;      // the check-list directory: catalog and join list
    std::string historyDirectory;   // empty: no history
    std::vector<std::string> runs;  // show, diff
};

class RunCommand {
  public:
    enum class Kind { kRun, kJoin, kHistory, kShow, kDiff };

    static const char kUsage[];

    // False with a reason when the words after the command do not fit it.
    static bool ParseOptions(Kind kind, const std::vector<std::string>& words, RunOptions& options,
                             std::string& error);

    RunCommand(const RequestDispatcher& dispatcher, const CallRequest& caller,
               const RunOptions& options)
        : dispatcher_(dispatcher), caller_(caller), options_(options) {}

    // The process's exit status.
    int Diagnose(bool join);
    int History() const;
    int Show() const;
    int Diff() const;

  private:
    // Asks for the secrets the list takes and the inputs lack, on a terminal.
    void CompleteInputs(const CheckList& list);
    int Report(const Json::Value& report) const;

    const RequestDispatcher& dispatcher_;
    CallRequest caller_;
    RunOptions options_;
};
