#include "common_check.hpp"

#include <stdio.h>
#include <stdlib.h>
#include <sys/socket.h>

#include <chrono>
#include <set>

#include "log.hpp"
#include "mtu_checker.hpp"
#include "port_checker.hpp"
#include "qarn.h"
#include "system_paths.hpp"
#include "tool_output.hpp"
#include "util.hpp"

namespace {

const char kKindDomain[] = "domain";
const char kKindDefault[] = "default";
const int kInterfaceNameSize = 16;
const int kAddressSize = 16;
const int kHighestPort = 65535;

struct PortService {
    int port;
    const char* service;
    ErrorCode code;
};

// The LDAP ports are handled apart: their code depends on the kind of test.
const PortService kPortServices[] = {
    {kDNSPort, "DNS", kDNSPortUnreachable},
    {kKerberosPort, "Kerberos", kKerberosPortUnreachable},
    {kNetBIOSPort, "NetBIOS", kNetBIOSPortUnreachable},
    {kSMBPort, "SMB", kSMBPortUnreachable},
};

bool IsLDAPPort(int port) {
    return port == kLDAPPort || port == kLDAPSPort;
}

bool IsPort(int port) {
    return port > 0 && port <= kHighestPort;
}

bool NotWildcard(std::string& entry) {
    return entry != "*";
}

Json::Value ToJsonArray(const std::vector<std::string>& texts) {
    Json::Value array(Json::arrayValue);
    for (const std::string& text : texts) array.append(text);
    return array;
}

int64_t MillisecondsSinceEpoch() {
    using std::chrono::duration_cast;
    using std::chrono::milliseconds;
    return duration_cast<milliseconds>(std::chrono::system_clock::now().time_since_epoch()).count();
}

// The text after the line's last "[" up to its last "]" (or the end); empty without "[".
std::string BracketedTail(const std::string& line) {
    const size_t open = line.rfind('[');
    if (open == std::string::npos) return "";
    const size_t close = line.rfind(']');
    const size_t end = (close == std::string::npos || close < open) ? line.size() : close;
    return line.substr(open + 1, end - open - 1);
}

}  // namespace

CommonCheckHandler::CommonCheckHandler(QARN::APIRequest* request, QARN::APIResponse* response)
    : CommonCore(request, response) {}

bool CommonCheckHandler::IsValidTestType(const std::string& type) {
    static const std::set<std::string> types = {"domain_pretest", "domain_posttest", "ldap_pretest",
                                                "ldap_posttest"};
    return types.count(type) != 0;
}

void CommonCheckHandler::GetStages() {
    const std::string type = m_request->GetParam("type", "").asString();
    if (!IsValidTestType(type)) {
        DS_LOG(LOG_ERR, "%s:%d Unknown test type");
        SetError(kBadParameter);
        return;
    }
    const std::string path = kCheckListDirectory + type;
    if (!JsonFromFile(path, m_data)) {
        DS_LOG(LOG_ERR, "%s:%d Failed to parse test file: %s", path.c_str());
        SetError(kInternalStepFailed);
        return;
    }
    SetSuccess(m_data);
}

void CommonCheckHandler::GetLastTest() {
    if (!JsonFromFile(kLastTestFile, m_data)) {
        DS_LOG(LOG_DEBUG, "%s:%d Failed to get last test file.");
        m_data = Json::Value();
    }
    SetSuccess(m_data);
}

void CommonCheckHandler::SetLastTest() {
    m_data["last_test_time"] = Json::Int64(MillisecondsSinceEpoch());
    if (!JsonToFile(m_data, kLastTestFile)) {
        DS_LOG(LOG_ERR, "%s:%d Failed to save last test time.");
    }
    SetSuccess(Json::Value());
}

void CommonCheckHandler::TestPort() {
    const int port = m_request->GetParam("port", 0).asInt();
    const std::string serverAddress = m_request->GetParam("server_address", "").asString();
    if (serverAddress.empty() || !IsPort(port)) {
        SetError(kBadParameter);
        return;
    }
    PortChecker checker(serverAddress, port);
    const int result = checker.Scan();
    if (result == 0) {
        SetSuccess(Json::Value());
        return;
    }
    if (result < 0) {
        DS_LOG(LOG_DEBUG, "%s:%d Operation failed: Test Port");
        SetError(kInternalStepFailed);
        return;
    }
    m_data["info"]["server_list"] = checker.GetFailResult();
    CheckPortError(checker.GetSucessResult().empty() ? kError : kWarning, port, kKindDefault);
}

void CommonCheckHandler::TestPortByDomain() {
    const std::vector<std::string> dcIPs =
        SplitString(m_request->GetParam("dc_ips", "").asString(), ',', NotWildcard);
    const int port = m_request->GetParam("port", 0).asInt();
    Json::Value hosts = ToJsonArray(dcIPs);
    if (dcIPs.empty()) {
        const Json::Value srvTargetIP = m_request->GetParam("srv_target_ip", Json::Value());
        const std::string srvType = port == kKerberosPort ? kSRVTypeKerberos : kSRVTypeLDAP;
        hosts = srvTargetIP.isObject() ? srvTargetIP.get(srvType, Json::Value()) : Json::Value();
    }
    if (!hosts.isArray() || hosts.empty() || !IsPort(port)) {
        SetError(kBadParameter);
        return;
    }
    CheckPortByMultiHost(hosts, port);
}

int CommonCheckHandler::ScanWithLDAPFallback(PortChecker& checker, int port) {
    const int result = checker.Scan();
    if (result <= 0 || !IsLDAPPort(port)) return result;
    checker.SetPort(port == kLDAPPort ? kLDAPSPort : kLDAPPort);
    return checker.Scan();
}

void CommonCheckHandler::CheckPortByMultiHost(const Json::Value& hosts, int port) {
    PortChecker checker("0.0.0.0", port);
    Json::Value failed(Json::arrayValue);
    bool somePassed = false;
    for (const Json::Value& host : hosts) {
        if (host.asString() == "*") continue;
        checker.SetHost(host.asString());
        checker.SetPort(port);
        const int result = ScanWithLDAPFallback(checker, port);
        if (result < 0) {
            DS_LOG(LOG_DEBUG, "%s:%d Operation failed: Test Port");
            SetError(kInternalStepFailed);
            return;
        }
        if (result == 0) {
            somePassed = true;
        } else {
            failed = ConcatJsonArray(failed, checker.GetFailResult());
        }
    }
    if (failed.empty()) {
        SetSuccess(Json::Value());
        return;
    }
    RemoveDuplicates(failed);
    m_data["info"]["server_list"] = failed;
    CheckPortError(somePassed ? kWarning : kError, port, kKindDomain);
}

void CommonCheckHandler::CheckPortError(ErrorSeverity severity, int port, const std::string& kind) {
    m_data["info"]["port"] = port;
    std::string service = "Unknown";
    ErrorCode code = kPortUnreachable;
    for (const PortService& entry : kPortServices) {
        if (entry.port == port) {
            service = entry.service;
            code = entry.code;
        }
    }
    if (IsLDAPPort(port)) {
        service = "LDAP";
        code = kind == kKindDomain ? kDomainLDAPPortsUnreachable : kLDAPPortUnreachable;
    }
    if (code == kDomainLDAPPortsUnreachable) {
        m_data["isPlural"] = true;
        m_data["info"]["port"] = "389, 636";
    }
    m_data["info"]["service"] = service;
    SetError(severity, code);
}

bool CommonCheckHandler::ReadTargetIPs(Json::Value* targets) {
    *targets = Json::Value(Json::arrayValue);
    if (m_request->GetAPIVersion() == 1) {
        const std::string target = m_request->GetParam("test_ip", "").asString();
        if (!target.empty()) targets->append(target);
    } else {
        const Json::Value list = m_request->GetParam("test_ip", Json::Value());
        if (list.isArray()) *targets = list;
    }
    if (!targets->empty()) return true;
    DS_LOG(LOG_DEBUG, "%s:%d No given target ip");
    SetError(kBadParameter);
    return false;
}

void CommonCheckHandler::TestMTU() {
    const bool pathMTUMode = m_request->GetParam("pmtu_mode", false).asBool();
    Json::Value targets;
    if (!ReadTargetIPs(&targets)) return;
    MTUChecker checker;
    Json::Value report(Json::objectValue);
    for (const Json::Value& target : targets) {
        const std::string host = target.asString();
        int pathMTU = 0;
        const ErrorCode code =
            pathMTUMode ? checker.GetPathMTUValue(host, pathMTU) : checker.CheckMTU(host);
        if (code == kNoICMPReply) {
            report["icmp_no_reply"].append(host);
        } else if (code == kMTUPingsLost) {
            report["inconsistent_mtu_ip"].append(host);
        } else if (code != kNoError) {
            DS_LOG(LOG_DEBUG, "%s:%d Failed to test MTU.");
            SetError(code);
            return;
        }
    }
    if (!report.isMember("inconsistent_mtu_ip")) {
        SetSuccess(Json::Value());
        return;
    }
    m_data["info"] = report;
    SetError(kWarning, kMTUPingsLost);
}

ErrorCode CommonCheckHandler::GetDefaultInterface(std::string& interfaceName) {
    char name[kInterfaceNameSize] = {};
    if (QARNNetDefaultGatewayInterfaceGet(name, kInterfaceNameSize) != 0) {
        DS_LOG(LOG_ERR, "%s:%d Failed to get default gateway interface");
        return kInternalStepFailed;
    }
    interfaceName = name;
    return kNoError;
}

ErrorCode CommonCheckHandler::GetDefaultInterfaceIP(std::string& address) {
    std::string interfaceName;
    if (GetDefaultInterface(interfaceName) != kNoError) return kInternalStepFailed;
    char text[kAddressSize] = {};
    if (QARNILnxGetIP(interfaceName.c_str(), text, kAddressSize) < 1) {
        DS_LOG(LOG_ERR, "%s:%d Failed to get local IP address");
        return kInternalStepFailed;
    }
    address = text;
    return kNoError;
}

void CommonCheckHandler::TestNasIPConflict() {
    std::string interfaceName;
    std::string localIP;
    if (GetDefaultInterface(interfaceName) != kNoError ||
        GetDefaultInterfaceIP(localIP) != kNoError) {
        SetError(kInternalStepFailed);
        return;
    }
    // Duplicate-address detection: up to 3 probes within 2 seconds.
    const int exitStatus =
        QLIBCExecl(kArpingTool, QLIBC_EXEC_QUIET, "-D", "-q", "-w", "2", "-c", "3", "-I",
                   interfaceName.c_str(), localIP.c_str(), static_cast<char*>(nullptr));
    if (exitStatus == 0) {
        SetSuccess(Json::Value());
    } else if (exitStatus == -1) {
        SetError(kInternalStepFailed);
    } else {
        SetError(kError, kServerIPConflict);
    }
}

void CommonCheckHandler::TestIPConflict() {
    Json::Value targets;
    if (!ReadTargetIPs(&targets)) return;
    Json::Value conflicts(Json::arrayValue);
    const ErrorCode code = CheckIPConflict(targets, conflicts);
    if (code == kNoError) {
        SetSuccess(Json::Value());
        return;
    }
    if (code != kIPConflict) {
        SetError(code);
        return;
    }
    m_data["info"]["conflict_ip"] = conflicts;
    SetError(conflicts.size() == targets.size() ? kError : kWarning, kIPConflict);
}

ErrorCode CommonCheckHandler::CheckIPConflict(const Json::Value& targets, Json::Value& conflicts) {
    std::string interfaceName;
    if (GetDefaultInterface(interfaceName) != kNoError) return kInternalStepFailed;
    for (const Json::Value& target : targets) {
        const std::string address = target.asString();
        if (QARNNetGetAddrType(address.c_str()) != AF_INET) {
            DS_LOG(LOG_DEBUG, "%s:%d Not IPv4 address: %s, skip it", address.c_str());
            continue;
        }
        int exitStatus = -1;
        const std::vector<std::string> lines =
            ExecuteCmd(kArpingTool, {"-c", "1", "-I", interfaceName, address}, &exitStatus, 1,
                       kQuickToolTimeLimit, "r");
        // A run stopped at its time limit has seen nothing: it fails like one that did not run.
        if (exitStatus == -1 || exitStatus == kTimedOutStatus) {
            DS_LOG(LOG_DEBUG, "%s:%d Execute arping failed: %d", exitStatus);
            return kInternalStepFailed;
        }
        // arping also exits with 1 when more replies than probes arrive: the reply lines decide.
        if (CountRepliers(lines) > 1) conflicts.append(target);
    }
    return conflicts.empty() ? kNoError : kIPConflict;
}

bool CommonCheckHandler::ReadHostConflictLine(const std::string& serverAddress, std::string* line) {
    FILE* stream = QLIBCPopen(kQarnwinTool, "r", "-checkDNSHostConflict", serverAddress.c_str(),
                              static_cast<char*>(nullptr));
    if (stream == nullptr) {
        DS_LOG(LOG_DEBUG, "%s:%d Fail to check DNS host conflict");
        return false;
    }
    char* buffer = nullptr;
    size_t capacity = 0;
    const ssize_t length = getline(&buffer, &capacity, stream);
    if (length > 0) line->assign(buffer, static_cast<size_t>(length));
    free(buffer);
    const bool stopped = StoppedAtLimit(QLIBCPclose(stream));
    if (length > 0 && !stopped) return true;
    DS_LOG(LOG_DEBUG, "%s:%d Fail to get qarnwin output");
    return false;
}

void CommonCheckHandler::TestHostnameConflict() {
    const std::string serverAddress = m_request->GetParam("server_address", "").asString();
    if (serverAddress.empty()) {
        SetError(kBadParameter);
        return;
    }
    std::string line;
    if (!ReadHostConflictLine(serverAddress, &line)) {
        SetError(kInternalStepFailed);
        return;
    }
    if (line.find('[') == std::string::npos) {
        SetSuccess(Json::Value());
        return;
    }
    if (!line.empty() && line.back() == '\n') line.pop_back();
    const std::string conflictIP = BracketedTail(line);
    std::string localIP;
    if (GetDefaultInterfaceIP(localIP) != kNoError) {
        SetError(kInternalStepFailed);
        return;
    }
    m_data["info"]["conflict_ip"] = conflictIP;
    m_data["info"]["local_ip"] = localIP;
    DS_LOG(LOG_ERR, "%s:%d Host[%s] conflict with [%s]", localIP.c_str(), conflictIP.c_str());
    SetError(kWarning, kHostnameConflict);
}
