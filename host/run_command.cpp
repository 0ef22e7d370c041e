#include "run_command.hpp"

#include <json/reader.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <iostream>

#include "command_line.hpp"
#include "diagnosis_api.hpp"
#include "interruption.hpp"
#include "report_builder.hpp"
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

const char kReportCatalogFile[] = "report_catalog.json";
const char kJoinListFile[] = "domain_join";
const char kJoinType[] = "domain_join";

bool ReadJsonFile(const std::string& path, Json::Value& value, std::string& error) {
    std::ifstream file(path);
    Json::CharReaderBuilder builder;
    std::string errors;
    if (file && Json::parseFromStream(builder, file, &value, &errors)) return true;
    error = path + ": " + (file ? errors : "cannot be read");
    return false;
}

bool ParseJobs(const std::string& text, size_t& jobs) {
    char* end = nullptr;
    long value = std::strtol(text.c_str(), &end, 10);
    if (end == text.c_str() || *end != '\0' || value < 1 || value > 64) return false;
    jobs = static_cast<size_t>(value);
    return true;
}

std::string TimeText(std::time_t when, const char* format) {
    std::tm parts{};
    gmtime_r(&when, &parts);
    char text[64];
    strftime(text, sizeof(text), format, &parts);
    return text;
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

bool RunCommand::LoadCheckList(bool join, CheckList& list, std::string& error) const {
    Json::Value document;
    if (join) {
        if (!ReadJsonFile(options_.dataDirectory + "/" + kJoinListFile, document, error)) {
            return false;
        }
    } else {
        CallRequest request = caller_;
        request.api = kCommonAPI;
        request.method = "get_stages";
        request.params = Json::Value(Json::objectValue);
        request.params["type"] = options_.testType;
        CallResult result = dispatcher_.Call(request);
        if (!result.reply["success"].asBool()) {
            error = "get_stages " + options_.testType + " answered " +
                    (result.reply.isNull()
                         ? result.message
                         : result.reply["error"]["code"].asString() + " (is it a test type?)");
            return false;
        }
        document = result.reply["data"];
    }
    return list.Parse(document, error);
}

bool RunCommand::CompleteInputs(const CheckList& list, std::string& error) {
    for (const std::string& name : options_.inputs.getMemberNames()) {
        if (std::find(list.inputs.begin(), list.inputs.end(), name) == list.inputs.end()) {
            error = "unknown input " + name + "; " + list.type + " takes:";
            for (const std::string& input : list.inputs) error += " " + input;
            return false;
        }
    }
    bool terminal = isatty(STDIN_FILENO);
    for (const std::string& name : list.inputs) {
        if (!SecretInput::IsSecret(name) || options_.inputs.isMember(name) || !terminal) continue;
        std::string value;
        if (SecretInput::Prompt(name, value)) options_.inputs[name] = value;
    }
    return true;
}

void RunCommand::StageStarted(const StageSpec& stage, size_t index, size_t count) {
    bracket_->Update(stage.name);
    display_->StageStarted(stage, index, count);
}

void RunCommand::CheckStarted(const CheckSpec& check) {
    display_->CheckStarted(check);
}

void RunCommand::CheckFinished(const CheckRecord& record) {
    display_->CheckFinished(record);
}

Json::Value RunCommand::RunJson(const CheckList& list, const std::vector<CheckRecord>& records,
                                const std::string& bracket, double seconds) const {
    Json::Value run(Json::objectValue);
    run["type"] = list.type.empty() ? options_.testType : list.type;
    run["seconds"] = seconds;
    run["bracket"] = bracket;
    run["inputs"] = ReportBuilder::MaskSecrets(options_.inputs);
    run["checks"] = Json::Value(Json::arrayValue);
    for (const CheckRecord& record : records)
        run["checks"].append(ReportBuilder::RecordJson(record));
    return run;
}

int RunCommand::Diagnose(bool join) {
    std::string error;
    CheckList list;
    if (!catalog_.Load(options_.dataDirectory + "/" + kReportCatalogFile, error) ||
        !LoadCheckList(join, list, error) || !CompleteInputs(list, error)) {
        std::cerr << "dscheck: " << error << '\n';
        return kRunUnknown;
    }
    if (join) list.type = kJoinType;
    std::time_t started = std::time(nullptr);
    auto clock = std::chrono::steady_clock::now();

    RunBracket bracket(dispatcher_, caller_);
    Json::Value refusal;
    std::string serverType = list.type.substr(0, list.type.find('_'));
    RunBracket::Opening opening = bracket.Open(serverType, refusal);
    if (opening == RunBracket::Opening::kRefused) {
        int code = refusal["error"]["code"].asInt();
        Json::Value text = catalog_.Code(code);
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
    DiagnosisRunner runner(dispatcher_, caller_, list, options_.jobs);
    bracket_ = &bracket;
    display_ = &display;
    std::vector<CheckRecord> records;
    {
        Interruption interruption([&] {
            runner.Cancel();
            bracket.Close();
        });
        records = runner.Run(options_.inputs, *this);
        display.Finish();
        if (!join && !interruption.Interrupted()) {
            CallRequest request = caller_;
            request.api = kCommonAPI;
            request.method = "set_last_test";
            dispatcher_.Call(request);
        }
        bracket.Close();
    }
    double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - clock).count();
    std::string bracketText = opening == RunBracket::Opening::kOpened
                                  ? "opened and closed"
                                  : "none: the server is joined or bound (1110)";
    Json::Value run = RunJson(list, records, bracketText, seconds);
    run["run"] = TimeText(started, "%Y%m%dT%H%M%SZ-") + run["type"].asString();
    run["started"] = TimeText(started, "%Y-%m-%d %H:%M:%S UTC");
    run["started_epoch"] = static_cast<Json::Int64>(started);
    Json::Value report = ReportBuilder(catalog_).Build(run);
    if (!options_.historyDirectory.empty()) {
        std::string id;
        if (RunHistory(options_.historyDirectory).Save(report, id, error)) {
            report["run"] = id;
        } else {
            std::cerr << "dscheck: history: " << error << '\n';
        }
    }
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
