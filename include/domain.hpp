// Base of the Active Directory handlers: the domain's names and settings, the domain controllers
// to test, Kerberos configuration and tickets, and the Samba tool runs every domain check shares.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "common.hpp"
#include "domain_messages.hpp"
#include "util.hpp"

// Authentication method of the Samba tools.
enum EAuth : int32_t {
    kAuthNone = 0,
    kAuthNTLM = 1,
    kAuthKrb5 = 2,
};

extern const char kKrb5[];  // "krb5"
extern const char kNTLM[];  // "ntlm"

class DomainCore : public CommonCore {
  public:
    // Failures of one operation against several domain controllers, reduced to the one code a
    // check reports.
    class DomainError {
      public:
        explicit DomainError(DomainCore& owner);

        // Records that host failed with code; an empty host records nothing.
        void Add(ErrorCode code, const std::string& host);
        // The hosts of code; for 0 every failed host once. For a code that the reduction
        // translated, the hosts of the code it was translated from.
        std::vector<std::string> GetFailedHost(ErrorCode code) const;
        bool IsAllHostFailed() const;
        ErrorCode TranslateErrorCode(ErrorCode code) const;
        // The code to report, 0 when nothing failed.
        ErrorCode GetProperErr() const;

      private:
        ErrorCode ChosenCode() const;
        const std::vector<std::string>* HostsOf(ErrorCode code) const;

        std::vector<ErrorCode> m_priority;
        DomainCore& m_owner;
        // In the order codes were first recorded; hosts in the order they failed.
        std::vector<std::pair<ErrorCode, std::vector<std::string>>> m_failures;
    };

    DomainCore(QARN::APIRequest* request, QARN::APIResponse* response);

    // API methods "check_server_address" and "prepare_test_ip".
    void ServerAddressCheck();
    void PrepareTestIP();

    bool IsADDomain();
    bool IsADServer();
    bool IsJoinedDomain();

    // Domain names and settings, computed on first use and cached for the request.
    const std::string& GetDCIP();
    const std::string& GetFQDN();
    const std::string& GetUPN();
    const std::string& GetWorkgroup(bool refresh);
    const KeyValueMap& GetSMBConf();

    // Domain controllers: service is "kerberos", "ldap" or null for no preference.
    std::vector<std::string> GetSrvIPs(ErrorCode& err, const char* service);
    std::vector<std::string> NetLookup(ErrorCode& err, const char* service);
    std::vector<std::string>& GetTestIPs(ErrorCode& err, const char* service);
    std::vector<std::string>& GetTestAddress(ErrorCode& err, const char* service);
    void AddTestAddress(const std::string& address) { m_testAddress.push_back(address); }
    void ResetTestAddress() { m_testAddress.clear(); }
    std::string ConvertIP2Fqdn(std::string ip, ErrorCode& err);

    // Kerberos.
    bool GenKrb5Conf(bool regenerate);
    std::unordered_set<std::string> GetSmbKrb5ConfKDC();
    Json::Value GetAvailableKdcIpList();
    ErrorCode Kinit(bool regenerate);
    bool AppendAuthOption(std::vector<std::string>& argv, ErrorCode& err);

    // Samba tool runs.
    bool RunCommandCore(std::vector<std::string> argv, ErrorCode& err, const MessageEntry* table,
                        int timeLimit, const std::string& keyword);
    int RunNetSearchKey(const std::string& key, std::vector<std::string>& values, ErrorCode& err,
                        const MessageEntry* table, int unused, const std::string& extraFlag);
    bool RunSmbclient(ErrorSeverity& severity, ErrorCode& err, int timeLimit);
    ErrorCode GetGPO(const std::string& policyId, std::vector<std::string>& lines);

    // Settings of the tool runs.
    bool IsTestAllIp() const { return m_testAllIp; }
    void SetTestAllIp(bool all) { m_testAllIp = all; }
    int GetDebugLevel() const { return m_debugLevel; }
    // Level, unless the request's "debug_level" says otherwise.
    void SetDebugLevel(int level);
    const std::string& GetOutputFile() const { return m_outputFile; }
    void SetOutputFile(const std::string& path) { m_outputFile = path; }
    EAuth GetAuthMethod() const { return m_authMethod; }
    void SetAuthMethod(EAuth method) { m_authMethod = method; }
    const std::string& GetNetFilter() const { return m_netFilter; }
    void SetNetFilter(const std::string& filter) { m_netFilter = filter; }
    const std::string& GetNetServer() const { return m_netServer; }
    void SetNetServer(const std::string& server) { m_netServer = server; }
    const std::string& GetSmbShare() const { return m_smbShare; }
    void SetSmbShare(const std::string& share) { m_smbShare = share; }
    const std::string& GetSmbclientCmd() const { return m_smbclientCmd; }
    void SetSmbclientCmd(const std::string& command) { m_smbclientCmd = command; }

  protected:
    // The hosts that failed with code into the answer data: one as "info"."ip", several as
    // "info"."ips" with "isPlural" true.
    void PutFailedHosts(ErrorCode code);
    // One host as "info"."ip"; several as "info"."ips" with "isPlural" true.
    void PutHosts(const std::vector<std::string>& hosts);
    // The host name (gethostname, 64 bytes); when unreadable, logs it and answers code with
    // severity.
    bool HostNameOrAnswer(std::string& hostname, ErrorSeverity severity, ErrorCode code);

    DomainError m_domainError;

  private:
    std::string RequestString(const char* name);
    bool TakeSrvMember(const Json::Value& targets, const std::string& service,
                       std::vector<std::string>& result, ErrorCode& err);
    // Test IPs from the SRV records of the domain; false when none could be taken.
    bool AppendSRVRecordTargets(ErrorCode& err, const char* service);
    std::string LookUpWorkgroup(bool refresh);
    void WriteKrb5Conf(std::ostream& output, const Json::Value& kdcs);
    ErrorCode MachineKinit();
    ErrorCode UserKinit(bool regenerate);
    void ReportSmbFailure(ErrorSeverity& severity, ErrorCode& err, ErrorCode code);

    std::string m_upn;
    std::string m_workgroup;
    std::string m_fqdn;
    std::string m_dcIP;
    std::vector<std::string> m_testIPs;
    std::vector<std::string> m_testAddress;
    bool m_testAllIp = true;
    KeyValueMap m_smbConf;
    int m_debugLevel = -1;
    std::string m_outputFile;
    EAuth m_authMethod = kAuthNone;
    std::string m_netFilter;
    std::string m_netServer;
    std::string m_smbShare;
    std::string m_smbclientCmd;
};
