// Pings a host with packets of the interface's MTU, or measures the path MTU to it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "error_code.hpp"

class MTUChecker {
  public:
    struct HostInfo {
        std::string host;
        int32_t isIPv6 = 0;
    };

    enum PathMTUOption : int32_t {
        kPMTUOff = 0,  // the packet may be fragmented
        kPMTUDo = 1,   // fragmentation prohibited
    };

    // MTU of the default-gateway interface, or -1.
    int GetDefualtInterfaceMTU();
    // Exit status of the reachability ping; 0 when the host answered.
    int CheckICMPEnable(const std::string& host);
    // 0, 501 (not an IP address), 600 (no answer to pings) or 502.
    ErrorCode PrepareChecker(const std::string& host, HostInfo& hostInfo);
    // Exit status of one ping of the whole packet size: 0 answered, 1 no answer, other error.
    int PingWithSize(int packetSize, const HostInfo& hostInfo, PathMTUOption option);
    // 0, 501, 600, 502, or 1020 when MTU-sized packets are lost.
    ErrorCode CheckMTU(const std::string& host);
    // The largest packet that reaches the host unfragmented, or -1.
    int GetPathMTU(int mtu, const HostInfo& hostInfo);
    // 0 with the path MTU in pathMTU, or 501, 600, 502.
    ErrorCode GetPathMTUValue(const std::string& host, int& pathMTU);

  private:
    // Pings size unfragmented: an answer raises low to size, no answer lowers high to size.
    // False when the ping failed otherwise.
    bool Narrow(int size, const HostInfo& hostInfo, int* low, int* high);
    // Exit status of one ping run.
    int Ping(const std::vector<std::string>& argv);
};
