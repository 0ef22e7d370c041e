// Samba's configuration: the [global] section of /etc/samba/smb.conf as a string table. The
// rewrite keeps every other section, every comment and the order of the lines; a parameter
// keeps its place, a removed one loses its line, a new one ends the section.
#include "smb_conf.hpp"

#include <string.h>
#include <strings.h>

#include <set>

#include "qlibc.h"
#include "text_file.hpp"

namespace {

enum SmbConfError {
    kBadArgument = 0x500,
    kReadFailed = 0x501,
    kWriteFailed = 0x502,
    kLockFailed = 0x503
};

const char kSmbConf[] = "/etc/samba/smb.conf";
const char kBlanks[] = " \t\r";
const int kSmbConfLock = 0x46;
const int kSmbConfUnlock = 0x40;
const int kLockSeconds = 10;

int Fail(int code, int line) {
    QLIBCErrSetEx(code, __FILE_NAME__, line);
    return -1;
}

std::string Trimmed(const std::string& text) {
    size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string::npos) return "";
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

// Inner runs of blanks become one blank: "client  ntlmv2 auth" names "client ntlmv2 auth".
std::string ParameterName(const std::string& text) {
    std::string name;
    for (char c : Trimmed(text)) {
        if (c == '\t') c = ' ';
        if (c == ' ' && !name.empty() && name.back() == ' ') continue;
        name += c;
    }
    return name;
}

// A section header's name ("global" for "[global]"); empty for any other line.
std::string SectionOf(const std::string& line) {
    std::string text = Trimmed(line);
    if (text.size() < 2 || text.front() != '[') return "";
    size_t close = text.find(']');
    return close == std::string::npos ? "" : Trimmed(text.substr(1, close - 1));
}

bool IsGlobal(const std::string& section) {
    return strcasecmp(section.c_str(), "global") == 0;
}

bool IsParameter(const std::string& line) {
    std::string text = Trimmed(line);
    return !text.empty() && text[0] != '#' && text[0] != ';' && text[0] != '[' &&
           text.find('=') != std::string::npos;
}

bool Continues(const std::string& line) {
    std::string text = Trimmed(line);
    return !text.empty() && text.back() == '\\';
}

struct Parameter {
    std::string name;
    std::string value;
};

// The parameter of lines[*index], joined with its continuation lines; *index ends on its last.
Parameter ReadParameter(const std::vector<std::string>& lines, size_t* index) {
    std::string text = lines[*index];
    while (Continues(text) && *index + 1 < lines.size()) {
        text = Trimmed(text);
        text.pop_back();
        text = Trimmed(text) + " " + Trimmed(lines[++*index]);
    }
    size_t equals = text.find('=');
    return {ParameterName(text.substr(0, equals)), Trimmed(text.substr(equals + 1))};
}

// A value or name that would break the file's line structure.
bool IsSafe(const char* text, bool isName) {
    if (text == nullptr) return false;
    if (isName && (text[0] == '\0' || text[0] == '[' || strchr(text, '=') != nullptr)) {
        return false;
    }
    return strpbrk(text, "\r\n") == nullptr;
}

std::string Indentation(const std::string& line) {
    return line.substr(0, line.find_first_not_of(kBlanks));
}

class GlobalRewrite {
  public:
    explicit GlobalRewrite(const QLIBC_SZHASH* global) : global_(global) {}

    std::vector<std::string> Apply(const std::vector<std::string>& lines) {
        bool inGlobal = false, sawGlobal = false;
        for (size_t i = 0; i < lines.size(); ++i) {
            std::string section = SectionOf(lines[i]);
            if (!section.empty()) {
                if (inGlobal) InsertUnwritten();
                inGlobal = IsGlobal(section);
                sawGlobal = sawGlobal || inGlobal;
                result_.push_back(lines[i]);
                insertAt_ = result_.size();
            } else if (inGlobal && IsParameter(lines[i])) {
                std::string indent = Indentation(lines[i]);
                Parameter parameter = ReadParameter(lines, &i);
                Keep(indent, parameter.name);
            } else {
                result_.push_back(lines[i]);
            }
        }
        if (inGlobal) InsertUnwritten();
        if (!sawGlobal) {
            result_.insert(result_.begin(), "[global]");
            insertAt_ = 1;
            InsertUnwritten();
        }
        return result_;
    }

  private:
    // The table's value in the line's place; nothing for a parameter the table lacks.
    void Keep(const std::string& indent, const std::string& name) {
        const char* value = QLIBCSzHashGetValue(global_, name.c_str());
        if (value == nullptr || !written_.insert(Lower(name)).second) return;
        result_.push_back(indent + name + " = " + value);
        insertAt_ = result_.size();
    }

    // New parameters follow the section's last parameter line.
    void InsertUnwritten() {
        std::vector<std::string> added;
        for (int i = 0; i < QLIBCSzHashCount(global_); ++i) {
            const char* key = QLIBCSzHashKeyAt(global_, i);
            std::string name = ParameterName(key);
            if (!written_.insert(Lower(name)).second) continue;
            added.push_back("\t" + name + " = " + QLIBCSzHashGetValue(global_, key));
        }
        result_.insert(result_.begin() + static_cast<long>(insertAt_), added.begin(), added.end());
    }

    static std::string Lower(std::string text) {
        for (char& c : text) c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
        return text;
    }

    const QLIBC_SZHASH* global_;
    std::vector<std::string> result_;
    size_t insertAt_ = 0;
    std::set<std::string> written_;
};

}  // namespace

// The parameters of [global], names with single blanks, values trimmed; their number.
extern "C" int QARNSMBConfGlobalGet(QLIBC_SZHASH* global) {
    if (global == nullptr) return Fail(kBadArgument, __LINE__);
    std::vector<std::string> lines;
    if (!platform::ReadLines(kSmbConf, &lines)) return Fail(kReadFailed, __LINE__);
    bool inGlobal = false;
    for (size_t i = 0; i < lines.size(); ++i) {
        std::string section = SectionOf(lines[i]);
        if (!section.empty()) {
            inGlobal = IsGlobal(section);
        } else if (inGlobal && IsParameter(lines[i])) {
            Parameter parameter = ReadParameter(lines, &i);
            QLIBCSzHashSetValue(global, parameter.name.c_str(), parameter.value.c_str());
        }
    }
    return QLIBCSzHashCount(global);
}

// [global] becomes the table (the caller holds the SMB configuration lock); the file is replaced
// atomically.
extern "C" int QARNSMBConfGlobalSet(const QLIBC_SZHASH* global) {
    if (global == nullptr) return Fail(kBadArgument, __LINE__);
    for (int i = 0; i < QLIBCSzHashCount(global); ++i) {
        const char* name = QLIBCSzHashKeyAt(global, i);
        if (!IsSafe(name, true) || !IsSafe(QLIBCSzHashGetValue(global, name), false)) {
            return Fail(kBadArgument, __LINE__);
        }
    }
    std::vector<std::string> lines;
    if (!platform::ReadLines(kSmbConf, &lines) && QLIBCFileExist(kSmbConf)) {
        return Fail(kReadFailed, __LINE__);
    }
    if (!platform::ReplaceFile(kSmbConf, GlobalRewrite(global).Apply(lines))) {
        return Fail(kWriteFailed, __LINE__);
    }
    return 0;
}

namespace platform {

std::string SmbConfGlobalValue(const std::string& name) {
    QLIBC_SZHASH* global = QLIBCSzHashAlloc(64);
    std::string value;
    if (global != nullptr && QARNSMBConfGlobalGet(global) >= 0) {
        const char* found = QLIBCSzHashGetValue(global, name.c_str());
        if (found != nullptr) value = found;
    }
    QLIBCSzHashFree(global);
    return value;
}

int EditSmbConfGlobals(const std::vector<std::pair<std::string, std::string>>& changes) {
    QLIBC_SZHASH* global = QLIBCSzHashAlloc(64);
    if (global == nullptr) return Fail(kBadArgument, __LINE__);
    if (QLIBCFileLock(kSmbConfLock, kLockSeconds) != 0) {
        QLIBCSzHashFree(global);
        return Fail(kLockFailed, __LINE__);
    }
    int result = QARNSMBConfGlobalGet(global);
    if (result >= 0) {
        for (const auto& [name, value] : changes) {
            if (value.empty()) {
                QLIBCSzHashRemoveKey(global, name.c_str());
            } else {
                QLIBCSzHashSetValue(global, name.c_str(), value.c_str());
            }
        }
        result = QARNSMBConfGlobalSet(global);
    }
    QLIBCFileUnlock(kSmbConfUnlock);
    QLIBCSzHashFree(global);
    return result < 0 ? -1 : 0;
}

}  // namespace platform
