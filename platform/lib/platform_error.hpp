// The platform library's own last-error numbers (QLIBCErrSetEx), one list so that none collide.
// The LDAP client library's are public: QARN_LDAP_ERR_* in qarnldap.h (0x2A01...).
#pragma once

#include "qlibc.h"

namespace platform {

enum PlatformError {
    // processes
    kProcessBadArgument = 0x100,
    kSpawnFailed = 0x102,
    // files
    kFileBadArgument = 0x200,
    kOpenFailed = 0x201,
    kLockTimedOut = 0x202,
    // network interfaces
    kNetworkBadArgument = 0x300,
    kNoDefaultRoute = 0x301,
    kInterfaceNotFound = 0x302,
    // resolv.conf
    kResolvConfBadArgument = 0x310,
    kReadFailed = 0x311,
    kWriteFailed = 0x312,
    // the domain's controller, names and tickets
    kDomainBadArgument = 0x320,
    kToolFailed = 0x321,
    kDomainValueNotFound = 0x322,
};

// Records code with the caller's source position; -1, the failure result of most calls.
inline int Fail(PlatformError code, const char* file, int line) {
    QLIBCErrSetEx(code, file, line);
    return -1;
}

}  // namespace platform

#define PLATFORM_FAIL(code) platform::Fail((code), __FILE_NAME__, __LINE__)
