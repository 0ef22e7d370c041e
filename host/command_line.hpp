// The host's command line: global options, then "call", "list", "--help", "serve" or one of
// the runner's commands ("run", "join", "history", "show", "diff") with the words after it.
#pragma once

#include <string>
#include <vector>

#include "request_dispatcher.hpp"

class CommandLine {
  public:
    enum class Command { kHelp, kList, kCall, kRun, kJoin, kHistory, kShow, kDiff, kServe };

    // False with a reason in error when the words do not form a command.
    bool Parse(const std::vector<std::string>& words, std::string& error);
    // NAME=VALUE into values[NAME]; VALUE taken as JSON when it parses as JSON, else as text.
    static bool ParseNamedValue(const std::string& word, Json::Value& values, std::string& error);
    // The members of a JSON object (no duplicate names, nothing after it) merged into values.
    static bool MergeParams(const std::string& text, Json::Value& values);

    Command command = Command::kHelp;
    std::string modulePath;  // empty: the module beside the host
    CallRequest call;
    std::vector<std::string> commandWords;  // the words after a runner command or serve

    static const char kUsage[];

  private:
    bool ParseCall(const std::vector<std::string>& words, size_t next, std::string& error);
};
