#include "command_line.hpp"

#include <json/reader.h>

#include <cerrno>
#include <cstdlib>
#include <memory>

#include "secret_input.hpp"

const char CommandLine::kUsage[] =
    "usage: dscheck [--module PATH] [--user NAME] [--remote-ip ADDR] call API METHOD\n"
    "               [--version N] [--params JSON|-] [NAME=VALUE ...]\n"
    "       dscheck [--module PATH] list\n"
    "       dscheck --help\n"
    "VALUE is taken as JSON when it parses as JSON, else as a string. --params - reads the JSON\n"
    "object from standard input, so secrets need not be on the command line.\n"
    "Exit status of call: 0 success, 1 error answer, 2 usage or dispatch error, 3 the method\n"
    "threw.\n";

namespace {

bool ParseJson(const std::string& text, Json::Value& value) {
    Json::CharReaderBuilder builder;
    builder["failIfExtra"] = true;
    builder["rejectDupKeys"] = true;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    std::string errors;
    return reader->parse(text.data(), text.data() + text.size(), &value, &errors);
}

bool ParseVersion(const std::string& text, int& version) {
    errno = 0;
    char* end = nullptr;
    long value = std::strtol(text.c_str(), &end, 10);
    if (errno != 0 || end == text.c_str() || *end != '\0' || value < 1 || value > 1000000) {
        return false;
    }
    version = static_cast<int>(value);
    return true;
}

// The value after an option word, or false when the words end.
bool OptionValue(const std::vector<std::string>& words, size_t& index, std::string& value,
                 std::string& error) {
    if (index + 1 >= words.size()) {
        error = words[index] + " needs a value";
        return false;
    }
    value = words[++index];
    return true;
}

}  // namespace

bool CommandLine::Parse(const std::vector<std::string>& words, std::string& error) {
    for (size_t i = 0; i < words.size(); ++i) {
        const std::string& word = words[i];
        if (word == "--help" || word == "-h" || word == "help") {
            command = Command::kHelp;
            return true;
        }
        std::string* target = word == "--module"      ? &modulePath
                              : word == "--user"      ? &call.loginUser
                              : word == "--remote-ip" ? &call.remoteIP
                                                      : nullptr;
        if (target != nullptr) {
            if (!OptionValue(words, i, *target, error)) return false;
            continue;
        }
        if (word == "list") {
            command = Command::kList;
            if (i + 1 == words.size()) return true;
            error = "list takes no arguments";
            return false;
        }
        if (word == "call") return ParseCall(words, i + 1, error);
        static const std::pair<const char*, Command> kRunnerCommands[] = {
            {"run", Command::kRun},   {"join", Command::kJoin}, {"history", Command::kHistory},
            {"show", Command::kShow}, {"diff", Command::kDiff}, {"serve", Command::kServe}};
        for (const auto& runner : kRunnerCommands) {
            if (word != runner.first) continue;
            command = runner.second;
            commandWords.assign(words.begin() + i + 1, words.end());
            return true;
        }
        error = "unknown word: " + word;
        return false;
    }
    error = "no command";
    return false;
}

bool CommandLine::ParseCall(const std::vector<std::string>& words, size_t next,
                            std::string& error) {
    command = Command::kCall;
    if (next + 2 > words.size()) {
        error = "call needs API and METHOD";
        return false;
    }
    call.api = words[next];
    call.method = words[next + 1];
    Json::Value named(Json::objectValue);
    for (size_t i = next + 2; i < words.size(); ++i) {
        std::string value;
        if (words[i] == "--version") {
            if (!OptionValue(words, i, value, error)) return false;
            if (!ParseVersion(value, call.version)) {
                error = "--version takes a positive whole number";
                return false;
            }
        } else if (words[i] == "--params") {
            if (!OptionValue(words, i, value, error)) return false;
            bool read = value == "-" ? SecretInput::ReadParams(value, call.params, error)
                                     : MergeParams(value, call.params);
            if (!read) {
                error = "--params takes a JSON object or - (standard input)";
                return false;
            }
        } else if (!ParseNamedValue(words[i], call.params, error)) {
            return false;
        }
    }
    return true;
}

bool CommandLine::MergeParams(const std::string& text, Json::Value& values) {
    Json::Value params;
    if (!ParseJson(text, params) || !params.isObject()) return false;
    for (const std::string& name : params.getMemberNames()) values[name] = params[name];
    return true;
}

bool CommandLine::ParseNamedValue(const std::string& word, Json::Value& values,
                                  std::string& error) {
    size_t separator = word.find('=');
    if (separator == std::string::npos || separator == 0) {
        error = "parameters are NAME=VALUE: " + word;
        return false;
    }
    std::string text = word.substr(separator + 1);
    Json::Value value;
    if (!ParseJson(text, value)) value = text;
    values[word.substr(0, separator)] = value;
    return true;
}
