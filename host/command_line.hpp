// The host's command line: global options, then "call", "list" or "--help".
#pragma once

#include <string>
#include <vector>

#include "request_dispatcher.hpp"

class CommandLine {
  public:
    enum class Command { kHelp, kList, kCall };

    // False with a reason in error when the words do not form a command.
    bool Parse(const std::vector<std::string>& words, std::string& error);

    Command command = Command::kHelp;
    std::string modulePath;  // empty: the module beside the host
    CallRequest call;

    static const char kUsage[];

  private:
    bool ParseCall(const std::vector<std::string>& words, size_t next, std::string& error);
    bool ParseParameter(const std::string& word, std::string& error);
};
