// Files: existence, key-value look-up and advisory resource locks.
#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <fstream>
#include <mutex>
#include <string>
#include <unordered_map>

#include "platform_error.hpp"
#include "platform_paths.hpp"
#include "qlibc.h"

namespace {

const char kBlanks[] = " \t\r\n\"";
const int kLockResourceMask = 0xF0;
const int kLockPollMilliseconds = 50;

std::string Trimmed(const std::string& text) {
    size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string::npos) return "";
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::mutex gLocksMutex;
std::unordered_map<int, int> gLockFiles;  // resource bits to the open lock file

std::string LockPath(int resource) {
    return std::string(platform::kLockDirectory) + "/qarn-" + std::to_string(resource) + ".lock";
}

void SleepMilliseconds(long milliseconds) {
    timespec pause{0, milliseconds * 1000000L};
    nanosleep(&pause, nullptr);
}

bool LockWithin(int fd, int timeoutSec) {
    for (long waited = 0;; waited += kLockPollMilliseconds) {
        if (flock(fd, LOCK_EX | LOCK_NB) == 0) return true;
        if (errno != EWOULDBLOCK || waited >= timeoutSec * 1000L) return false;
        SleepMilliseconds(kLockPollMilliseconds);
    }
}

}  // namespace

extern "C" int QLIBCFileExist(const char* path) {
    struct stat info;
    return (path != nullptr && stat(path, &info) == 0) ? 1 : 0;
}

extern "C" int QLIBCFileGetKeyValue(const char* path, const char* key, char* buffer, int size,
                                    int /*flags*/) {
    if (path == nullptr || key == nullptr || buffer == nullptr || size < 1) {
        return PLATFORM_FAIL(platform::kFileBadArgument);
    }
    std::ifstream input(path);
    if (!input.is_open()) {
        return PLATFORM_FAIL(platform::kOpenFailed);
    }
    std::string line;
    while (std::getline(input, line)) {
        size_t separator = line.find('=');
        if (separator == std::string::npos) continue;
        std::string name = Trimmed(line.substr(0, separator));
        if (name.empty() || name[0] == '#' || name[0] == ';' || name != key) continue;
        std::string value = Trimmed(line.substr(separator + 1));
        size_t length = std::min(value.size(), static_cast<size_t>(size - 1));
        memcpy(buffer, value.data(), length);
        buffer[length] = '\0';
        return static_cast<int>(length);
    }
    buffer[0] = '\0';
    return 0;
}

extern "C" int QLIBCFileLock(int lockType, int timeoutSec) {
    int resource = lockType & kLockResourceMask;
    std::lock_guard<std::mutex> guard(gLocksMutex);
    if (gLockFiles.count(resource)) return 0;
    mkdir(platform::kLockDirectory, 0755);
    int fd = open(LockPath(resource).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (fd < 0) {
        return PLATFORM_FAIL(platform::kOpenFailed);
    }
    if (!LockWithin(fd, timeoutSec)) {
        close(fd);
        return PLATFORM_FAIL(platform::kLockTimedOut);
    }
    gLockFiles[resource] = fd;
    return 0;
}

extern "C" int QLIBCFileUnlock(int lockType) {
    int resource = lockType & kLockResourceMask;
    std::lock_guard<std::mutex> guard(gLocksMutex);
    auto held = gLockFiles.find(resource);
    if (held == gLockFiles.end()) {
        return PLATFORM_FAIL(platform::kFileBadArgument);
    }
    flock(held->second, LOCK_UN);
    close(held->second);
    gLockFiles.erase(held);
    return 0;
}
