// Shared helpers: running external tools, cleaning their output, key-value files, JSON arrays
// and JSON files.
#pragma once

#include <json/value.h>

#include <fstream>
#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

using LineCallback = std::function<bool(std::string)>;
using KeyValueMap = std::unordered_map<std::string, std::string>;
using KeyValuesMap = std::unordered_map<std::string, std::vector<std::string>>;

// Command execution. argv[0] is the program's full path; a positive timeLimit runs it under
// "/usr/bin/timeout" (exit status 124 = limit reached, retried while attempts remain).

// Reads the output (stdout and stderr) line by line into callback until it returns true.
// True exactly when the last run exited with status 0.
bool ExecuteCmd(const std::vector<std::string>& argv, const LineCallback& callback, int* exitStatus,
                int attempts, int timeLimit);
// Always under "/usr/bin/timeout" (0 = no limit); the output lines of the last run.
std::vector<std::string> ExecuteCmd(const std::string& program,
                                    const std::vector<std::string>& args, int* exitStatus,
                                    int attempts, int timeLimit, const char* mode);
// Collects "key = value" / "key: value" output lines; filter returning true drops a line.
bool ExecuteCmdGetMaps(const std::vector<std::string>& argv, const LineCallback& filter,
                       KeyValuesMap& result, int* exitStatus, int attempts, int timeLimit);
bool ExecuteCmdGetKeyValues(const std::vector<std::string>& argv, const LineCallback& filter,
                            const std::string& key, std::vector<std::string>& values,
                            int* exitStatus, int attempts, int timeLimit);
// Exit status of a run stopped at its time limit (by the timeout tool or the platform).
inline constexpr int kTimedOutStatus = 124;
// True when a tool's wait status tells that a limit stopped it: exit status 124 (its time) or a
// kill (its output cap). Its output is then no answer.
bool StoppedAtLimit(int waitStatus);
// Logs a command line at error priority.
void dump_cmd(char const** argv, int argc);

// Text.
std::string& ToLower(std::string& text);
// Strips blanks, newlines, carriage returns, tabs and double quotes from both ends.
void StripWhitespaces(std::string& text);
std::vector<std::string> SplitString(const std::string& text, char delimiter,
                                     const std::function<bool(std::string&)>& filter);
// 0 on success, -1 when the file cannot be opened or is not trusted (trusted_file.hpp).
int ReadFileUTF16ToUTF8(std::string path, std::vector<std::string>& lines);
// "key = value" lines of all sections; "include = PATH" loads PATH in place.
KeyValueMap FileLoadKeyValues(std::ifstream& input);

// JSON arrays; a null value counts as an empty array.
void RemoveDuplicates(Json::Value& array);
Json::Value AppendJsonArray(Json::Value result, const Json::Value& array);
template <typename... Arrays>
Json::Value ConcatJsonArray(const Json::Value& first, const Arrays&... arrays) {
    Json::Value result = first;
    ((result = AppendJsonArray(std::move(result), arrays)), ...);
    return result;
}

// JSON files: whole-file read; write replaces the file atomically, mode 0644. True on success.
bool JsonFromFile(const std::string& path, Json::Value& value);
// The same for a file in /tmp: one that is not trusted (trusted_file.hpp) reads as absent.
bool JsonFromTrustedFile(const std::string& path, Json::Value& value);
bool JsonToFile(const Json::Value& value, const std::string& path);
