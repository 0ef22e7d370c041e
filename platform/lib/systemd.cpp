// Services: the module's Samba units controlled through the systemctl found on PATH.
#include <stdlib.h>
#include <syslog.h>
#include <unistd.h>

#include <sstream>
#include <string>
#include <vector>

#include "qarn.h"
#include "spawn.hpp"

namespace {

enum ServiceError {
    kBadArgument = 0x400,
    kUnknownService = 0x401,
    kNoSystemctl = 0x402,
    kToolFailed = 0x403
};

const char kTimeoutTool[] = "/usr/bin/timeout";
const char kSystemctlTimeLimit[] = "90";
const char kDefaultPath[] = "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin";

// The module's unit names and the system's Samba units they stand for (Debian).
struct UnitName {
    const char* module;
    const char* system;
};
const UnitName kUnits[] = {
    {"pkg-qarnsamba-smbd", "smbd"},
    {"pkg-qarnsamba-nmbd", "nmbd"},
    {"pkg-qarnsamba-winbindd", "winbind"},
};

int Fail(int code, int line) {
    QLIBCErrSetEx(code, __FILE_NAME__, line);
    return -1;
}

std::string SystemUnit(const char* service) {
    if (service == nullptr) return "";
    for (const UnitName& unit : kUnits) {
        if (std::string(unit.module) == service) return unit.system;
    }
    return "";
}

// The first executable systemctl of the PATH directories.
std::string FindSystemctl() {
    const char* path = getenv("PATH");
    std::istringstream directories(path != nullptr && path[0] != '\0' ? path : kDefaultPath);
    std::string directory;
    while (std::getline(directories, directory, ':')) {
        if (directory.empty() || directory[0] != '/') continue;
        std::string candidate = directory + "/systemctl";
        if (access(candidate.c_str(), X_OK) == 0) return candidate;
    }
    return "";
}

// Runs "systemctl ACTION... UNIT" for the module's service; its exit status, -1 when it could not
// run. A service outside the unit table is refused.
int Systemctl(const std::vector<std::string>& action, const char* service) {
    std::string unit = SystemUnit(service);
    if (unit.empty()) return Fail(kUnknownService, __LINE__);
    std::string systemctl = FindSystemctl();
    if (systemctl.empty()) return Fail(kNoSystemctl, __LINE__);
    std::vector<std::string> argv{kTimeoutTool, kSystemctlTimeLimit, systemctl};
    argv.insert(argv.end(), action.begin(), action.end());
    argv.push_back(unit);
    std::string output;
    int status = platform::Run(argv, "", output).ExitStatus();
    if (status != 0) {
        syslog(LOG_ERR, "%s:%d systemctl %s %s: exit %d: %.200s", __FILE_NAME__, __LINE__,
               action.front().c_str(), unit.c_str(), status, output.c_str());
    }
    return status;
}

int SucceedsOrFails(int status, int line) {
    return status == 0 ? 0 : Fail(kToolFailed, line);
}

// Applies action to every listed service; the names of those that failed go onto *failed.
int ForEachService(const std::vector<std::string>& action, const char* reason,
                   const QLIBC_SZLIST* services, QLIBC_SZLIST** failed) {
    if (reason == nullptr || services == nullptr) return Fail(kBadArgument, __LINE__);
    if (failed != nullptr && *failed == nullptr) *failed = QLIBCSzListAlloc(4);
    bool allDone = true;
    for (int i = 0; i < QLIBCSzListCount(services); ++i) {
        const char* service = QLIBCSzListGet(services, i);
        syslog(LOG_INFO, "%s:%d %s %s (reason %s)", __FILE_NAME__, __LINE__, action.front().c_str(),
               service, reason);
        if (Systemctl(action, service) == 0) continue;
        allDone = false;
        if (failed != nullptr) QLIBCSzListPush(failed, service);
    }
    return allDone ? 0 : Fail(kToolFailed, __LINE__);
}

}  // namespace

// "systemctl is-enabled UNIT": 1 when the unit starts at boot, 0 when it does not.
extern "C" int QARNSystemdEnableStatusGet(const char* service) {
    int status = Systemctl({"is-enabled"}, service);
    return status < 0 ? -1 : (status == 0 ? 1 : 0);
}

// "systemctl restart UNIT".
extern "C" int QARNSystemdRestart(const char* service) {
    return SucceedsOrFails(Systemctl({"restart"}, service), __LINE__);
}

// "systemctl reload UNIT": the daemon rereads smb.conf.
extern "C" int QARNSystemdReload(const char* service) {
    return SucceedsOrFails(Systemctl({"reload"}, service), __LINE__);
}

// "systemctl enable --now UNIT" for each service: the reason needs it now and after a reboot.
extern "C" int QARNSystemdServiceStartByReason(const char* reason, const QLIBC_SZLIST* services,
                                               QLIBC_SZLIST** failed) {
    return ForEachService({"enable", "--now"}, reason, services, failed);
}

// "systemctl stop UNIT" for each service.
extern "C" int QARNSystemdServiceStopByReason(const char* reason, const QLIBC_SZLIST* services,
                                              QLIBC_SZLIST** failed) {
    return ForEachService({"stop"}, reason, services, failed);
}
