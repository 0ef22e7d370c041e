#include "run_command.hpp"

#include <unistd.h>

#include <cstdio>
#include <iostream>

#include "command_line.hpp"
#include "diagnosis.hpp"
#include "interruption.hpp"
#include "progress_display.hpp"
#include "run_history.hpp"
#include "secret_input.hpp"

const char RunCommand::kUsage[] =
    "       dscheck [--module PATH] [--user NAME] [--remote-ip ADDR] run TEST_TYPE [NAME=VALUE "
    "...]\n"
    "               [--params FILE|-] [--secrets-file FILE] [--json | --format text|json|nagios|"
    "prometheus]\n"
    "               [--quiet] [--jobs N] [--data-dir DIR]\n"
    "       dscheck [...] join NAME=VALUE ... [the options of run]\n"
    "       dscheck history [--json]\n"
    "       dscheck show RUN [--json | --format F]\n"
    "       dscheck diff RUN_A RUN_B [--json]\n"
    "TEST_TYPE: domain_pretest, domain_posttest, ldap_pretest, ldap_posttest. Secrets (password,\n"
    "bind_pw) are asked for on a terminal, or come from --params (a JSON object; - reads standard\n"
    "input) or --secrets-file (NAME=VALUE lines). RUN: a run name, a unique prefix, or last.\n"
    "Exit status of run, join and show: 0 every check passed, 1 warnings, 2 a check failed,\n"
    "3 the run could not run (usage, refused, no check list), 130 interrupted.\n";

namespace {

bool ParseJobs(const std::string& text, size_t& jobs) {
    char* end = nullptr;
    long value = std::strtol(text.c_str(), &end, 10);
    if (end == text.c_str() || *end != '\0' || value < 1 || value > 64) return false;
    jobs = static_cast<size_t>(value);
    return true;
}

}  // namespace

bool RunCommand::ParseOptions(Kind kind, const std::vector<std::string>& words, RunOptions& options,
                              std::string& error) {
    bool diagnosis = kind == Kind::kRun || kind == Kind::kJoin;
    for (size_t i = 0; i < words.size(); ++i) {
        const std::string& word = words[i];
        bool hasValue = i + 1 < words.size();
        std::string format;
        if (word == "--json") {
            options.format = ReportFormatter::Format::kJson;
        } else if (word == "--format" && hasValue) {
            if (!ReportFormatter::ParseFormat(words[++i], options.format)) {
                error = "--format takes text, json, nagios or prometheus";
                return false;
            }
        } else if (diagnosis && (word == "--quiet" || word == "-q")) {
            options.quiet = true;
        } else if (diagnosis && word == "--jobs" && hasValue) {
            if (!ParseJobs(words[++i], options.jobs)) {
                error = "--jobs takes a number from 1 to 64";
                return false;
            }
        } else if (diagnosis && word == "--params" && hasValue) {
            if (!SecretInput::ReadParams(words[++i], options.inputs, error)) return false;
        } else if (diagnosis && word == "--secrets-file" && hasValue) {
            if (!SecretInput::ReadSecretsFile(words[++i], options.inputs, error)) return false;
        } else if (diagnosis && word == "--data-dir" && hasValue) {
            options.dataDirectory = words[++i];
        } else if (word.compare(0, 2, "--") == 0) {
            error = "unknown option or missing value: " + word;
            return false;
        } else if (diagnosis && word.find('=') != std::string::npos) {
            if (!CommandLine::ParseNamedValue(word, options.inputs, error)) return false;
        } else if (kind == Kind::kRun && options.testType.empty()) {
            options.testType = word;
        } else if (kind == Kind::kShow || kind == Kind::kDiff) {
            options.runs.push_back(word);
        } else {
            error = "unexpected word: " + word;
            return false;
        }
    }
    size_t runs = kind == Kind::kShow ? 1 : kind == Kind::kDiff ? 2 : 0;
    if (options.runs.size() != runs) {
        error = runs == 1 ? "show needs one RUN" : "diff needs RUN_A and RUN_B";
        return false;
    }
    if (kind == Kind::kRun && options.testType.empty()) {
        error = "run needs a TEST_TYPE";
        return false;
    }
    return true;
}

void RunCommand::CompleteInputs(const CheckList& list) {
    if (!isatty(STDIN_FILENO)) return;
    for (const std::string& name : list.inputs) {
        if (!SecretInput::IsSecret(name) || options_.inputs.isMember(name)) continue;
        std::string value;
        if (SecretInput::Prompt(name, value)) options_.inputs[name] = value;
    }
}

int RunCommand::Diagnose(bool join) {
    DiagnosisSetup setup{options_.dataDirectory, options_.historyDirectory, options_.jobs};
    Diagnosis diagnosis(dispatcher_, caller_, setup);
    std::string error;
    if (!diagnosis.Prepare(join ? "" : options_.testType, error) ||
        !diagnosis.AcceptsInputs(options_.inputs, error)) {
        std::cerr << "dscheck: " << error << '\n';
        return kRunUnknown;
    }
    CompleteInputs(diagnosis.List());
    Json::Value refusal;
    if (!diagnosis.Open(refusal)) {
        int code = refusal["error"]["code"].asInt();
        Json::Value text = diagnosis.Catalog().Code(code);
        std::cerr << "dscheck: the run cannot start: " << code << " "
                  << (text.isObject() ? text["meaning"].asString() : "") << '\n';
        if (!refusal["error"]["details"].isNull()) {
            std::cerr << "the other run: " << refusal["error"]["details"].toStyledString();
        }
        return kRunUnknown;
    }
    bool plainFormat = options_.format == ReportFormatter::Format::kText;
    ProgressDisplay display(options_.quiet || !plainFormat ? ProgressDisplay::Mode::kQuiet
                                                           : ProgressDisplay::ModeFor(stderr),
                            stderr);
    Json::Value report;
    {
        Interruption interruption([&] { diagnosis.Cancel(); });
        report = diagnosis.Run(options_.inputs, display, error);
        display.Finish();
    }
    if (!error.empty()) std::cerr << "dscheck: history: " << error << '\n';
    return Report(report);
}

int RunCommand::Report(const Json::Value& report) const {
    std::cout << ReportFormatter::Render(report, options_.format) << std::flush;
    return ReportFormatter::ExitStatus(report);
}

int RunCommand::History() const {
    RunHistory history(options_.historyDirectory);
    std::vector<std::string> names = history.Runs();
    std::vector<Json::Value> reports;
    Json::Value list(Json::arrayValue);
    for (const std::string& name : names) {
        Json::Value report;
        std::string error;
        history.Load(name, report, error);
        reports.push_back(report);
        Json::Value entry;
        for (const char* key : {"run", "type", "started", "status", "counts"})
            entry[key] = report[key];
        list.append(entry);
    }
    if (options_.format == ReportFormatter::Format::kJson) {
        std::cout << ReportFormatter::JsonText(list);
    } else {
        std::cout << RunHistory::ListText(reports, names);
    }
    return 0;
}

int RunCommand::Show() const {
    Json::Value report;
    std::string error;
    if (!RunHistory(options_.historyDirectory).Load(options_.runs[0], report, error)) {
        std::cerr << "dscheck: " << error << '\n';
        return kRunUnknown;
    }
    return Report(report);
}

int RunCommand::Diff() const {
    RunHistory history(options_.historyDirectory);
    Json::Value before, after;
    std::string error;
    if (!history.Load(options_.runs[0], before, error) ||
        !history.Load(options_.runs[1], after, error)) {
        std::cerr << "dscheck: " << error << '\n';
        return kRunUnknown;
    }
    Json::Value diff = RunHistory::Diff(before, after);
    std::cout << (options_.format == ReportFormatter::Format::kJson
                      ? ReportFormatter::JsonText(diff)
                      : RunHistory::DiffText(diff));
    return 0;
}
