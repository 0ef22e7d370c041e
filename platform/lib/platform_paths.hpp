// The paths the platform library and its tools use, named once. The module names its own in
// include/system_paths.hpp: it also runs on the vendor's platform library.
#pragma once

#include <sys/stat.h>

#include <cstddef>

namespace platform {

// Tools the platform runs.
inline constexpr char kNetTool[] = "/usr/local/bin/net";
inline constexpr char kKinitTool[] = "/usr/bin/kinit";

// Configuration it reads or writes.
inline constexpr char kSmbConfFile[] = "/etc/samba/smb.conf";
inline constexpr char kResolvConfFile[] = "/etc/resolv.conf";
inline constexpr char kNsswitchConfFile[] = "/etc/nsswitch.conf";
inline constexpr char kQarnDirectory[] = "/usr/qarn";
inline constexpr char kQarnEtcDirectory[] = "/usr/qarn/etc";
inline constexpr char kPrivateDirectory[] = "/usr/qarn/etc/private";
inline constexpr char kWorkgroupFile[] = "/usr/qarn/etc/private/workgroup";
inline constexpr char kKdcIPFile[] = "/usr/qarn/etc/private/kdc_ip";

// The system's state.
inline constexpr char kRouteTable[] = "/proc/net/route";
inline constexpr char kInterfaceDirectory[] = "/sys/class/net/";
inline constexpr char kLockDirectory[] = "/run/lock";
inline constexpr char kNullDevice[] = "/dev/null";

// Bounds of a tool run that names none: above the longest limit a caller gives its tools (30 s
// under the timeout tool), so they only stop tools that would run forever or flood.
inline constexpr int kDefaultTimeLimit = 60;                  // seconds
inline constexpr size_t kDefaultOutputCap = 4 * 1024 * 1024;  // bytes

// The platform's private directory (root only), with its parents.
inline void MakePrivateDirectory() {
    mkdir(kQarnDirectory, 0755);
    mkdir(kQarnEtcDirectory, 0755);
    mkdir(kPrivateDirectory, 0700);
}

}  // namespace platform
