// The LDAP client configuration file (QARNLDAPConfSetOne), the debug switch and the bound status.
#include <ctype.h>
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <strings.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <new>
#include <string>
#include <vector>

#include "ldap_internal.hpp"
#include "parsers.hpp"
#include "platform_paths.hpp"

namespace {

// Reads a whole file into lines (without their newlines). False with errno when it cannot.
bool ReadLines(const char* path, std::vector<std::string>* lines) {
    lines->clear();
    FILE* in = fopen(path, "re");
    if (!in) return false;
    char* buffer = nullptr;
    size_t size = 0;
    ssize_t len;
    bool ok = true;
    try {
        while ((len = getline(&buffer, &size, in)) >= 0) {
            std::string line(buffer, static_cast<size_t>(len));
            if (!line.empty() && line.back() == '\n') line.pop_back();
            lines->push_back(line);
        }
    } catch (const std::bad_alloc&) {
        ok = false;
        errno = ENOMEM;
    }
    if (ok && ferror(in)) ok = false;
    int saved = errno;
    free(buffer);
    fclose(in);
    errno = saved;
    return ok;
}

// The key of a configuration line (its first word), or "" for a blank or comment line; with
// the position where its value starts in *valueAt.
std::string KeyOf(const std::string& line, size_t* valueAt) {
    size_t begin = line.find_first_not_of(" \t");
    if (begin == std::string::npos || line[begin] == '#') return "";
    size_t end = line.find_first_of(" \t", begin);
    if (end == std::string::npos) end = line.size();
    size_t value = line.find_first_not_of(" \t", end);
    *valueAt = value == std::string::npos ? line.size() : value;
    return line.substr(begin, end - begin);
}

bool HasLineBreak(const char* text) {
    return strchr(text, '\n') || strchr(text, '\r');
}

bool WriteAll(int fd, const std::string& text) {
    size_t done = 0;
    while (done < text.size()) {
        ssize_t n = write(fd, text.data() + done, text.size() - done);
        if (n < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        done += static_cast<size_t>(n);
    }
    return true;
}

int MakeDirs(const std::string& dir) {
    if (dir.empty()) return 0;
    struct stat st;
    if (stat(dir.c_str(), &st) == 0) return S_ISDIR(st.st_mode) ? 0 : -1;
    size_t slash = dir.find_last_of('/');
    if (slash != std::string::npos && slash > 0 && MakeDirs(dir.substr(0, slash)) < 0) return -1;
    if (mkdir(dir.c_str(), 0755) < 0 && errno != EEXIST) return -1;
    return 0;
}

// The default of key: its value in the defaults file; false when the file has no such key.
bool DefaultValue(const char* defaultsPath, const char* key, std::string* value) {
    qarnldap::ConfMap defaults;
    if (!defaultsPath || !defaultsPath[0] || !qarnldap::ReadConf(defaultsPath, &defaults)) {
        return false;
    }
    std::string upper(key);
    for (char& c : upper) c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
    auto it = defaults.find(upper);
    if (it == defaults.end()) return false;
    *value = it->second;
    return true;
}

// lines with key set to value (set) or removed (!set), as the file's new text.
std::string WithKey(const std::vector<std::string>& lines, const char* key, bool set,
                    const std::string& value) {
    std::string output;
    bool written = false;
    for (const std::string& line : lines) {
        size_t valueAt = 0;
        std::string lineKey = KeyOf(line, &valueAt);
        if (lineKey.empty() || strcasecmp(lineKey.c_str(), key) != 0) {
            output += line + "\n";
            continue;
        }
        if (set && !written) {  // the key's spelling and the blanks after it stay
            std::string head =
                valueAt < line.size() || isblank(static_cast<unsigned char>(line.back()))
                    ? line.substr(0, valueAt)
                    : line + " ";
            output += head + value + "\n";
            written = true;
        }
    }
    if (set && !written) output += std::string(key) + " " + value + "\n";
    return output;
}

// Replaces path by a file holding text, through a temporary file in dir and a rename; the mode
// and owner of the old file are kept.
int ReplaceFile(const char* path, const std::string& dir, const std::string& text) {
    struct stat st;
    bool existed = stat(path, &st) == 0;
    std::string name(path);
    std::string tmpl = dir + "/." + name.substr(name.find_last_of('/') + 1) + ".XXXXXX";
    std::vector<char> tmpPath(tmpl.begin(), tmpl.end());
    tmpPath.push_back('\0');
    int fd = mkostemp(tmpPath.data(), O_CLOEXEC);
    if (fd < 0) {
        QARNLDAP_SET_ERR(QARN_LDAP_ERR_CONF);
        QARNLDAP_LOG(LOG_ERR, "cannot create a file in %s: %m", dir.c_str());
        return -1;
    }
    bool ok = WriteAll(fd, text) && fchmod(fd, existed ? st.st_mode & 07777 : 0644) == 0 &&
              (!existed || fchown(fd, st.st_uid, st.st_gid) == 0 || errno == EPERM) &&
              fsync(fd) == 0;
    ok = close(fd) == 0 && ok;
    if (!ok || rename(tmpPath.data(), path) != 0) {
        QARNLDAP_SET_ERR(QARN_LDAP_ERR_CONF);
        QARNLDAP_LOG(LOG_ERR, "cannot write %s: %m", path);
        unlink(tmpPath.data());
        return -1;
    }
    return 0;
}

// Sets or resets key in confPath; the caller holds the directory lock.
int RewriteLocked(const char* confPath, const std::string& dir, const char* defaultsPath,
                  const char* key, const char* value, int flag) {
    std::string newValue = flag == 0 && value ? value : "";
    bool set = flag == 0 || DefaultValue(defaultsPath, key, &newValue);

    std::vector<std::string> lines;
    bool existed = ReadLines(confPath, &lines);
    if (!existed) {
        if (errno != ENOENT) {
            QARNLDAP_SET_ERR(QARN_LDAP_ERR_CONF);
            QARNLDAP_LOG(LOG_ERR, "cannot read %s: %m", confPath);
            return -1;
        }
        if (defaultsPath && defaultsPath[0] && !ReadLines(defaultsPath, &lines)) lines.clear();
    }
    std::string output = WithKey(lines, key, set, newValue);
    std::string before;
    for (const std::string& line : lines) before += line + "\n";
    if (existed && before == output) return 0;
    return ReplaceFile(confPath, dir, output);
}

int ConfSetOne(const char* confPath, const char* defaultsPath, const char* key, const char* value,
               int flag) {
    if (!confPath || !confPath[0] || !key || !key[0] || (flag != 0 && flag != 1) ||
        strpbrk(key, " \t\r\n#") || (flag == 0 && value && HasLineBreak(value))) {
        QARNLDAP_SET_ERR(QARN_LDAP_ERR_PARAM);
        return -1;
    }
    std::string path(confPath);
    size_t slash = path.find_last_of('/');
    std::string dir = slash == std::string::npos ? "." : (slash == 0 ? "/" : path.substr(0, slash));
    int dirFd = MakeDirs(dir) < 0 ? -1 : open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dirFd < 0 || flock(dirFd, LOCK_EX) < 0) {
        QARNLDAP_SET_ERR(QARN_LDAP_ERR_CONF);
        QARNLDAP_LOG(LOG_ERR, "cannot lock %s: %m", dir.c_str());
        if (dirFd >= 0) close(dirFd);
        return -1;
    }
    int rc = -1;
    try {
        rc = RewriteLocked(confPath, dir, defaultsPath, key, value, flag);
    } catch (const std::bad_alloc&) {
        QARNLDAP_SET_ERR(QARN_LDAP_ERR_NOMEM);
    }
    if (rc == 0) fsync(dirFd);
    close(dirFd);  // releases the lock
    return rc;
}

}  // namespace

extern "C" int QARNLDAPConfSetOne(const char* confPath, const char* defaultsPath, const char* key,
                                  const char* value, int flag) {
    return ConfSetOne(confPath, defaultsPath, key, value, flag);
}

extern "C" int QARNLDAPDebugEnabled(void) {
    static std::atomic<long long> checkedAt{-1};
    static std::atomic<int> enabled{0};
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    if (checkedAt.load(std::memory_order_relaxed) != now.tv_sec) {
        enabled.store(access(QARN_LDAP_DEBUG_FLAG_PATH, F_OK) == 0 ? 1 : 0,
                      std::memory_order_relaxed);
        checkedAt.store(now.tv_sec, std::memory_order_relaxed);
    }
    return enabled.load(std::memory_order_relaxed);
}

extern "C" int QARNLDAPIsBinded(void) {
    std::vector<std::string> lines;
    try {
        if (!ReadLines(platform::kNsswitchConfFile, &lines)) {
            if (errno != ENOENT) QARNLDAP_SET_ERR(QARN_LDAP_ERR_CONF);
            return 0;
        }
        for (const std::string& line : lines) {
            std::vector<std::string> sources;
            if (!platform::ReadPasswdSources(line, sources)) continue;
            return std::find(sources.begin(), sources.end(), "ldap") != sources.end() ? 1 : 0;
        }
    } catch (const std::bad_alloc&) {
        QARNLDAP_SET_ERR(QARN_LDAP_ERR_NOMEM);
    }
    return 0;
}
