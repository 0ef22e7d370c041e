// dscheck: loads the check module and answers requests from the command line.
#include <pwd.h>
#include <unistd.h>

#include <iostream>
#include <string>
#include <vector>

#include "command_line.hpp"
#include "module.hpp"
#include "report_formatter.hpp"
#include "request_dispatcher.hpp"
#include "run_command.hpp"
#include "serve_command.hpp"
#include "system_paths.hpp"

namespace {

std::string HostDirectory() {
    std::vector<char> path(4096);
    ssize_t length = readlink("/proc/self/exe", path.data(), path.size() - 1);
    if (length <= 0) return ".";
    std::string exe(path.data(), static_cast<size_t>(length));
    return exe.substr(0, exe.rfind('/'));
}

// The module beside the host (build tree), else the installed one.
std::string DefaultModulePath() {
    std::string directory = HostDirectory();
    std::string beside = directory + "/dscheck.so";
    if (access(beside.c_str(), R_OK) == 0) return beside;
    return directory + "/../lib/dscheck/dscheck.so";
}

std::string InvokingUser() {
    passwd* entry = getpwuid(geteuid());
    return entry != nullptr ? entry->pw_name : std::to_string(geteuid());
}

int List(const Module& module) {
    for (const QARN::WebAPIEntry* row : module.Rows()) {
        std::cout << row->api << '\t' << row->version << '\t' << row->method << '\t'
                  << Module::EntryName(*row) << '\n';
    }
    return kExitSuccess;
}

int Call(const Module& module, const CallRequest& call) {
    CallResult result = RequestDispatcher(module).Call(call);
    if (result.reply.isNull()) {
        std::cerr << "dscheck: " << result.message << '\n';
        return result.status;
    }
    std::cout << ReportFormatter::CompactText(result.reply) << std::endl;
    return result.status;
}

RunCommand::Kind RunnerKind(CommandLine::Command command) {
    switch (command) {
        case CommandLine::Command::kJoin:
            return RunCommand::Kind::kJoin;
        case CommandLine::Command::kHistory:
            return RunCommand::Kind::kHistory;
        case CommandLine::Command::kShow:
            return RunCommand::Kind::kShow;
        case CommandLine::Command::kDiff:
            return RunCommand::Kind::kDiff;
        default:
            return RunCommand::Kind::kRun;
    }
}

bool IsDiagnosis(CommandLine::Command command) {
    return command == CommandLine::Command::kRun || command == CommandLine::Command::kJoin;
}

int Runner(const CommandLine& line, const Module& module) {
    RunOptions options;
    options.dataDirectory = kCheckListDirectory;
    options.historyDirectory = kHistoryDirectory;
    RunCommand::Kind kind = RunnerKind(line.command);
    std::string error;
    if (!RunCommand::ParseOptions(kind, line.commandWords, options, error)) {
        std::cerr << "dscheck: " << error << " (dscheck --help shows the usage)\n";
        return kRunUnknown;
    }
    RequestDispatcher dispatcher(module);
    RunCommand command(dispatcher, line.call, options);
    switch (kind) {
        case RunCommand::Kind::kHistory:
            return command.History();
        case RunCommand::Kind::kShow:
            return command.Show();
        case RunCommand::Kind::kDiff:
            return command.Diff();
        default:
            return command.Diagnose(kind == RunCommand::Kind::kJoin);
    }
}

int Serve(const CommandLine& line, const Module& module) {
    ServeOptions options;
    std::string error;
    if (!ServeCommand::ParseOptions(line.commandWords, options, error)) {
        std::cerr << "dscheck: serve: " << error << " (dscheck --help shows the usage)\n";
        return kExitUsage;
    }
    if (options.wwwDirectory.empty()) {
        options.wwwDirectory = ServeCommand::DefaultWwwDirectory(HostDirectory());
    }
    return ServeCommand(module, options).Run();
}

}  // namespace

int main(int argc, char** argv) {
    CommandLine line;
    line.call.loginUser = InvokingUser();
    std::string error;
    if (!line.Parse(std::vector<std::string>(argv + 1, argv + argc), error)) {
        std::cerr << "dscheck: " << error << '\n' << CommandLine::kUsage;
        return kExitUsage;
    }
    if (line.command == CommandLine::Command::kHelp) {
        std::cout << CommandLine::kUsage << RunCommand::kUsage << ServeCommand::kUsage;
        return kExitSuccess;
    }
    Module module;
    bool needsModule = line.command == CommandLine::Command::kList ||
                       line.command == CommandLine::Command::kCall ||
                       line.command == CommandLine::Command::kServe || IsDiagnosis(line.command);
    if (!needsModule) return Runner(line, module);
    if (!module.Load(line.modulePath.empty() ? DefaultModulePath() : line.modulePath, error)) {
        std::cerr << "dscheck: cannot load the module: " << error << '\n';
        return IsDiagnosis(line.command) ? static_cast<int>(kRunUnknown) : kExitUsage;
    }
    if (IsDiagnosis(line.command)) return Runner(line, module);
    if (line.command == CommandLine::Command::kServe) return Serve(line, module);
    return line.command == CommandLine::Command::kList ? List(module) : Call(module, line.call);
}
