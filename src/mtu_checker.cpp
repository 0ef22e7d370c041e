#include "mtu_checker.hpp"

#include <sys/socket.h>

#include "log.hpp"
#include "qarn.h"
#include "system_paths.hpp"
#include "util.hpp"

namespace {

const int kInterfaceNameSize = 16;
const int kPingNoAnswer = 1;

const int kIPv4HeaderSize = 28;  // IP 20 + ICMP 8
const int kIPv6HeaderSize = 48;  // IP 40 + ICMP 8
const int kIPv4MinimumMTU = 576;
const int kIPv6MinimumMTU = 1280;
const std::vector<int> kIPv4ProbeSizes = {1340, 1400, 1410, 1420, 1440, 1450,
                                          1452, 1480, 1492, 1500, 1501};
const std::vector<int> kIPv6ProbeSizes = {1400, 1424, 1428, 1430, 1440, 1450,
                                          1460, 1472, 1480, 1500, 1501};
// The refinement climbs in coarse steps while the gap is wide, then in steps of one.
const int kCoarseGap = 11;
const int kCoarseStep = 10;

ErrorCode PingFailureCode(int exitStatus) {
    return exitStatus == kPingNoAnswer ? kNoICMPReply : kInternalStepFailed;
}

}  // namespace

int MTUChecker::Ping(const std::vector<std::string>& argv) {
    int exitStatus = -1;
    if (!ExecuteCmd(argv, nullptr, &exitStatus, 1, kQuickToolTimeLimit)) {
        DS_LOG(LOG_DEBUG, "%s:%d Execute ping command failed, exit code [%d]", exitStatus);
    }
    return exitStatus;
}

int MTUChecker::GetDefualtInterfaceMTU() {
    char interfaceName[kInterfaceNameSize] = {};
    if (QARNNetDefaultGatewayInterfaceGet(interfaceName, kInterfaceNameSize) != 0) {
        DS_LOG(LOG_ERR, "%s:%d Failed to get default gateway interface");
        return -1;
    }
    const int mtu = QARNGetMTUSetting(interfaceName);
    if (mtu > 0) return mtu;
    DS_LOG(LOG_ERR, "%s:%d Failed to get MTU value of default gateway interface [%s]",
           interfaceName);
    return -1;
}

int MTUChecker::CheckICMPEnable(const std::string& host) {
    return Ping({kPingTool, "-c", "3", "-W", "2", host});
}

ErrorCode MTUChecker::PrepareChecker(const std::string& host, HostInfo& hostInfo) {
    switch (QARNNetGetAddrType(host.c_str())) {
        case AF_INET:
            hostInfo.isIPv6 = 0;
            break;
        case AF_INET6:
            hostInfo.isIPv6 = 1;
            break;
        default:
            DS_LOG(LOG_DEBUG, "%s:%d Not IP address format [%s]", host.c_str());
            return kBadParameter;
    }
    hostInfo.host = host;
    const int exitStatus = CheckICMPEnable(host);
    if (exitStatus == 0) return kNoError;
    DS_LOG(LOG_DEBUG, "%s:%d Failed to send ICMP packet to host [%s]", host.c_str());
    return PingFailureCode(exitStatus);
}

int MTUChecker::PingWithSize(int packetSize, const HostInfo& hostInfo, PathMTUOption option) {
    std::vector<std::string> argv = {kPingTool, "-c", "1", "-W", "2"};
    if (option == kPMTUDo) {
        argv.insert(argv.end(), {"-M", "do"});
    }
    const int payload = packetSize - (hostInfo.isIPv6 ? kIPv6HeaderSize : kIPv4HeaderSize);
    argv.insert(argv.end(), {"-s", std::to_string(payload), hostInfo.host});
    return Ping(argv);
}

ErrorCode MTUChecker::CheckMTU(const std::string& host) {
    HostInfo hostInfo;
    const ErrorCode prepared = PrepareChecker(host, hostInfo);
    if (prepared != kNoError) return prepared;
    const int mtu = GetDefualtInterfaceMTU();
    if (mtu <= 0) return kInternalStepFailed;
    // The second packet is one byte too large for the interface: the sender has to fragment it.
    for (const int size : {mtu, mtu + 1}) {
        const int exitStatus = PingWithSize(size, hostInfo, kPMTUOff);
        if (exitStatus != 0) {
            DS_LOG(LOG_DEBUG, "%s:%d Ping host [%s] failed with packet size [%d]", host.c_str(),
                   size);
            return exitStatus == kPingNoAnswer ? kMTUPingsLost : kInternalStepFailed;
        }
    }
    return kNoError;
}

bool MTUChecker::Narrow(int size, const HostInfo& hostInfo, int* low, int* high) {
    const int exitStatus = PingWithSize(size, hostInfo, kPMTUDo);
    if (exitStatus == 0) {
        *low = size;
    } else if (exitStatus == kPingNoAnswer) {
        *high = size;
    } else {
        return false;
    }
    return true;
}

int MTUChecker::GetPathMTU(int mtu, const HostInfo& hostInfo) {
    int low = hostInfo.isIPv6 ? kIPv6MinimumMTU : kIPv4MinimumMTU;
    int high = mtu;
    if (PingWithSize(mtu, hostInfo, kPMTUDo) == 0) return mtu;
    for (const int size : hostInfo.isIPv6 ? kIPv6ProbeSizes : kIPv4ProbeSizes) {
        if (size >= mtu) break;
        if (!Narrow(size, hostInfo, &low, &high)) return -1;
    }
    while (low + 1 < high) {
        const int probe = high - low >= kCoarseGap ? low + kCoarseStep : low + 1;
        if (!Narrow(probe, hostInfo, &low, &high)) return -1;
    }
    return low;
}

ErrorCode MTUChecker::GetPathMTUValue(const std::string& host, int& pathMTU) {
    HostInfo hostInfo;
    const ErrorCode prepared = PrepareChecker(host, hostInfo);
    if (prepared != kNoError) return prepared;
    const int mtu = GetDefualtInterfaceMTU();
    if (mtu <= 0) return kInternalStepFailed;
    const int measured = GetPathMTU(mtu, hostInfo);
    if (measured < 0) {
        DS_LOG(LOG_ERR, "%s:%d Failed to get PMTU by host [%s].", host.c_str());
        return kInternalStepFailed;
    }
    pathMTU = measured;
    return kNoError;
}
