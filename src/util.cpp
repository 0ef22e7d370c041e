#include "util.hpp"

#include <json/reader.h>
#include <json/writer.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <boost/locale/encoding_utf.hpp>
#include <iterator>
#include <memory>
#include <set>
#include <sstream>
#include <unordered_set>

#include "atomic_file.hpp"
#include "log.hpp"
#include "qlibc.h"
#include "system_paths.hpp"
#include "trusted_file.hpp"

namespace {

const int kLineBufferSize = 1024;
const int kInvalidArgument = 0xd00;

bool JsonFromStream(std::istream& input, Json::Value& value) {
    Json::CharReaderBuilder builder;
    std::string errors;
    return Json::parseFromStream(builder, input, &value, &errors);
}

// Exit status of a wait status; a run ended by a signal reads as 128 + the signal, as in shells.
int ExitStatusOf(int waitStatus) {
    if (waitStatus == -1) return -1;
    if (WIFEXITED(waitStatus)) return WEXITSTATUS(waitStatus);
    if (WIFSIGNALED(waitStatus)) return 128 + WTERMSIG(waitStatus);
    return -1;
}

// argv with the "/usr/bin/timeout LIMIT" prefix when a limit is wanted.
std::vector<std::string> CommandLine(const std::vector<std::string>& argv, bool underTimeout,
                                     int timeLimit) {
    std::vector<std::string> line;
    if (underTimeout) {
        line = {kTimeoutTool, std::to_string(timeLimit)};
    }
    line.insert(line.end(), argv.begin(), argv.end());
    return line;
}

std::vector<char*> ArgumentArray(std::vector<std::string>& line) {
    std::vector<char*> array;
    for (std::string& arg : line) array.push_back(arg.data());
    array.push_back(nullptr);
    return array;
}

// One run with the fixed line buffer; the exit status, 124 when the program cannot start.
int RunOnce(std::vector<char*>& array, const LineCallback& callback) {
    FILE* output = QLIBCPopenv(array[0], "rB", array.data());
    if (output == nullptr) return kTimedOutStatus;
    char buffer[kLineBufferSize];
    while (fgets(buffer, sizeof(buffer), output) != nullptr) {
        if (callback && callback(buffer)) break;
    }
    return ExitStatusOf(QLIBCPclose(output));
}

void RemoveTrailingNewline(std::string& line) {
    if (!line.empty() && line.back() == '\n') line.pop_back();
}

// Splits a "key = value" or "key: value" line; false for lines that carry no pair.
bool ParseKeyValueLine(std::string line, const LineCallback& filter, std::string& key,
                       std::string& value) {
    RemoveTrailingNewline(line);
    if (line.empty() || (filter && filter(line))) return false;
    size_t separator = line.find('=');
    if (separator == std::string::npos) separator = line.find(':');
    if (separator == std::string::npos) return false;
    key = line.substr(0, separator);
    StripWhitespaces(key);
    if (!key.empty() && (key[0] == ';' || key[0] == '#')) return false;
    value = line.substr(separator + 1);
    StripWhitespaces(value);
    return true;
}

// Runs argv once per attempt with onLine seeing every pair; reset() starts the results afresh
// after a run that hit its time limit. The exit status of the last run.
int RunCollectingPairs(const std::vector<std::string>& argv, const LineCallback& filter,
                       int attempts, int timeLimit,
                       const std::function<void(const std::string&, const std::string&)>& onPair,
                       const std::function<void()>& reset) {
    int status = kTimedOutStatus;
    LineCallback parser = [&](std::string line) {
        std::string key, value;
        if (ParseKeyValueLine(std::move(line), filter, key, value)) onPair(key, value);
        return false;
    };
    for (int attempt = 0; attempt < attempts; ++attempt) {
        if (attempt > 0) reset();
        status = -1;
        ExecuteCmd(argv, parser, &status, 1, timeLimit);
        if (status != kTimedOutStatus) break;
    }
    return status;
}

const char kWhitespace[] = " \n\r\t\"";
const char32_t kByteOrderMark = 0xFEFF;

// The UTF-16 little-endian code units of bytes; a trailing odd byte is dropped.
std::u16string UTF16LE(const std::string& bytes) {
    std::u16string units(bytes.size() / 2, u'\0');
    for (size_t i = 0; i < units.size(); ++i) {
        units[i] = static_cast<char16_t>(static_cast<unsigned char>(bytes[2 * i]) |
                                         static_cast<unsigned char>(bytes[2 * i + 1]) << 8);
    }
    return units;
}

KeyValueMap LoadKeyValues(std::istream& input, std::set<std::string>& loading);

// Loads an included file unless it is already being loaded further up the chain.
void MergeInclude(const std::string& path, KeyValueMap& values, std::set<std::string>& loading) {
    std::unique_ptr<char, decltype(&free)> resolved(realpath(path.c_str(), nullptr), &free);
    std::string canonical = resolved ? resolved.get() : path;
    if (!loading.insert(canonical).second) {
        DS_LOG(LOG_WARNING, "%s:%d include cycle at %s", canonical.c_str());
        return;
    }
    std::ifstream included(path);
    if (included.is_open()) {
        for (auto& [key, value] : LoadKeyValues(included, loading)) values[key] = value;
    }
    loading.erase(canonical);
}

KeyValueMap LoadKeyValues(std::istream& input, std::set<std::string>& loading) {
    KeyValueMap values;
    std::string line;
    while (std::getline(input, line)) {
        StripWhitespaces(line);
        if (line.empty() || line[0] == ';' || line[0] == '#') continue;
        size_t separator = line.find('=');
        if (separator == std::string::npos) continue;
        std::string key = line.substr(0, separator);
        std::string value = line.substr(separator + 1);
        StripWhitespaces(key);
        StripWhitespaces(value);
        if (key == "include") {
            MergeInclude(value, values, loading);
        } else {
            values[key] = value;
        }
    }
    return values;
}

}  // namespace

bool ExecuteCmd(const std::vector<std::string>& argv, const LineCallback& callback, int* exitStatus,
                int attempts, int timeLimit) {
    if (argv.empty()) {
        DS_LOG(LOG_ERR, "%s:%d Invaild Argument (%s)=[%d]\n", "!vstrArgs.empty()", 0);
        QLIBCErrSetEx(kInvalidArgument, __FILE_NAME__, __LINE__);
        return false;
    }
    std::vector<std::string> line = CommandLine(argv, timeLimit > 0, timeLimit);
    std::vector<char*> array = ArgumentArray(line);
    int status = kTimedOutStatus;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        status = RunOnce(array, callback);
        if (status != kTimedOutStatus) break;
    }
    if (exitStatus != nullptr) *exitStatus = status;
    return status == 0;
}

std::vector<std::string> ExecuteCmd(const std::string& program,
                                    const std::vector<std::string>& args, int* exitStatus,
                                    int attempts, int timeLimit, const char* mode) {
    std::vector<std::string> lines;
    if (program.empty()) return lines;
    std::vector<std::string> argv{program};
    argv.insert(argv.end(), args.begin(), args.end());
    std::vector<std::string> line = CommandLine(argv, true, timeLimit);
    std::vector<char*> array = ArgumentArray(line);
    int status = -1;
    for (int attempt = 0; attempt < attempts && status != 0; ++attempt) {
        lines.clear();
        FILE* output = QLIBCPopenv(kTimeoutTool, mode, array.data());
        if (output == nullptr) continue;
        char* text = nullptr;
        size_t capacity = 0;
        while (getline(&text, &capacity, output) != -1) {
            std::string collected(text);
            RemoveTrailingNewline(collected);
            lines.push_back(std::move(collected));
        }
        free(text);
        int waitStatus = QLIBCPclose(output);
        if (waitStatus != -1 && WIFEXITED(waitStatus)) status = WEXITSTATUS(waitStatus);
    }
    if (exitStatus != nullptr) *exitStatus = status;
    return lines;
}

bool ExecuteCmdGetMaps(const std::vector<std::string>& argv, const LineCallback& filter,
                       KeyValuesMap& result, int* exitStatus, int attempts, int timeLimit) {
    KeyValuesMap collected = result;
    int status = RunCollectingPairs(
        argv, filter, attempts, timeLimit,
        [&](const std::string& key, const std::string& value) { collected[key].push_back(value); },
        [&] { collected.clear(); });
    if (exitStatus != nullptr) *exitStatus = status;
    if (status != 0) return false;
    result = std::move(collected);
    return true;
}

bool ExecuteCmdGetKeyValues(const std::vector<std::string>& argv, const LineCallback& filter,
                            const std::string& key, std::vector<std::string>& values,
                            int* exitStatus, int attempts, int timeLimit) {
    std::vector<std::string> collected;
    int status = RunCollectingPairs(
        argv, filter, attempts, timeLimit,
        [&](const std::string& found, const std::string& value) {
            if (found == key) collected.push_back(value);
        },
        [&] { collected.clear(); });
    if (exitStatus != nullptr) *exitStatus = status;
    if (status != 0) return false;
    values.insert(values.end(), collected.begin(), collected.end());
    return true;
}

bool StoppedAtLimit(int waitStatus) {
    return waitStatus != -1 &&
           ((WIFEXITED(waitStatus) && WEXITSTATUS(waitStatus) == kTimedOutStatus) ||
            (WIFSIGNALED(waitStatus) && WTERMSIG(waitStatus) == SIGKILL));
}

void dump_cmd(char const** argv, int argc) {
    std::string text;
    for (int i = 0; i < argc; ++i) {
        if (i > 0) text += ' ';
        text += '"';
        text += argv[i] ? argv[i] : "";
        text += '"';
    }
    DS_LOG(LOG_ERR, "%s:%d Commnad= %s", text.c_str());
}

std::string& ToLower(std::string& text) {
    for (char& c : text) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return text;
}

void StripWhitespaces(std::string& text) {
    size_t first = text.find_first_not_of(kWhitespace);
    if (first == std::string::npos) {
        text.clear();
        return;
    }
    size_t last = text.find_last_not_of(kWhitespace);
    text = text.substr(first, last - first + 1);
}

std::vector<std::string> SplitString(const std::string& text, char delimiter,
                                     const std::function<bool(std::string&)>& filter) {
    std::vector<std::string> pieces;
    std::istringstream stream(text);
    std::string piece;
    while (std::getline(stream, piece, delimiter)) {
        if (!filter || filter(piece)) pieces.push_back(piece);
    }
    return pieces;
}

int ReadFileUTF16ToUTF8(std::string path, std::vector<std::string>& lines) {
    std::string bytes;
    if (!TrustedFile(path).ReadAll(bytes)) {
        DS_LOG(LOG_DEBUG, "%s:%d Cannot open file in UTF-16LE mode");
        return -1;
    }
    std::u32string text = boost::locale::conv::utf_to_utf<char32_t>(UTF16LE(bytes));
    for (size_t start = 0; start < text.size();) {
        size_t end = std::min(text.find(U'\n', start), text.size() - 1) + 1;
        end = std::min(end, start + kLineBufferSize - 1);
        size_t first = text[start] == kByteOrderMark ? start + 1 : start;
        std::u32string piece = text.substr(first, end - first);
        piece.resize(std::min(piece.find(U'\0'), piece.size()));  // a line ends at its NUL
        std::string line = boost::locale::conv::utf_to_utf<char>(piece);
        StripWhitespaces(line);
        lines.push_back(std::move(line));
        start = end;
    }
    return 0;
}

KeyValueMap FileLoadKeyValues(std::ifstream& input) {
    if (!input.is_open()) return {};
    std::set<std::string> loading;
    return LoadKeyValues(input, loading);
}

void RemoveDuplicates(Json::Value& array) {
    Json::Value kept(Json::arrayValue);
    std::unordered_set<std::string> seen;
    for (const Json::Value& element : array) {
        if (seen.insert(element.asString()).second) kept.append(element);
    }
    array = std::move(kept);
}

Json::Value AppendJsonArray(Json::Value result, const Json::Value& array) {
    for (const Json::Value& element : array) result.append(element);
    return result;
}

bool JsonFromTrustedFile(const std::string& path, Json::Value& value) {
    std::string text;
    if (!TrustedFile(path).ReadAll(text)) return false;
    std::istringstream input(text);
    return JsonFromStream(input, value);
}

bool JsonFromFile(const std::string& path, Json::Value& value) {
    std::ifstream input(path);
    return input.is_open() && JsonFromStream(input, value);
}

bool JsonToFile(const Json::Value& value, const std::string& path) {
    AtomicFile file(path, kPublicFileMode);
    file.Write(value.toStyledString());
    return file.Commit();
}
