// The paths the platform library and its tools use, named once. The module names its own in
// include/system_paths.hpp: it also runs on the vendor's platform library.
#pragma once

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

}  // namespace platform
