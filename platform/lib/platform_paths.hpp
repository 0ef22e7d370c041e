// The system paths the platform library uses, named once.
#pragma once

#include <sys/stat.h>

namespace platform {

inline constexpr char kNetTool[] = "/usr/local/bin/net";
inline constexpr char kTimeoutTool[] = "/usr/bin/timeout";
inline constexpr char kSmbConf[] = "/etc/samba/smb.conf";
inline constexpr char kPrivateDirectory[] = "/usr/qarn/etc/private";

// The platform's private directory (root only), with its parents.
inline void MakePrivateDirectory() {
    mkdir("/usr/qarn", 0755);
    mkdir("/usr/qarn/etc", 0755);
    mkdir(kPrivateDirectory, 0700);
}

}  // namespace platform
