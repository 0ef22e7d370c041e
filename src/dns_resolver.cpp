#include "dns_resolver.hpp"

#include <map>
#include <vector>

#include "log.hpp"
#include "port_checker.hpp"
#include "qarn.h"
#include "system_paths.hpp"
#include "tool_output.hpp"
#include "util.hpp"

namespace {

const int kDNSSettingSize = 20;

// Record type to the prefix of the output lines that carry its answers.
const std::map<std::string, std::string>& AnswerPrefixes() {
    static const std::map<std::string, std::string> prefixes = {
        {"", "Address: "},
        {kRecordTypeA, "Address: "},
        {kRecordTypeAAAA, "Address: "},
        {kRecordTypeNS, "nameserver = "},
        {kRecordTypeSRV, "service = "},
    };
    return prefixes;
}

std::string FirstListEntry(const std::string& list) {
    return list.substr(0, list.find(','));
}

}  // namespace

bool DnsResolver::IsDNSAlive() {
    std::string dns = m_dns;
    if (dns.empty()) {
        char setting[kDNSSettingSize] = {};
        if (QARNNetDNSGet(setting, kDNSSettingSize) != 0) {
            DS_LOG(LOG_ERR, "%s:%d Failed to get DNS setting");
            return false;
        }
        dns = setting;
    }
    dns = FirstListEntry(dns);
    PortChecker checker(dns, kDNSPort);
    const int result = checker.Scan();
    if (result > 0) {
        DS_LOG(LOG_DEBUG, "%s:%d DNS tcp port is unreachable");
        return false;
    }
    if (result < 0) {
        DS_LOG(LOG_ERR, "%s:%d Failed to check DNS setting");
        return false;
    }
    SetDNS(dns);
    return true;
}

ErrorCode DnsResolver::ResolveRecord(Json::Value& output) {
    std::vector<std::string> argv = {kNslookupTool};
    const auto prefix = AnswerPrefixes().find(m_recordType);
    if (prefix == AnswerPrefixes().end()) return kBadParameter;
    if (!m_recordType.empty()) argv.push_back("-type=" + m_recordType);
    if (m_domainName.empty()) return kBadParameter;
    argv.push_back(m_domainName);
    if (!IsDNSAlive()) return kDNSServerUnreachable;
    if (!m_dns.empty()) argv.push_back(m_dns);

    std::vector<std::string> answers;
    auto collect = [&answers, &prefix](std::string line) {
        if (!line.empty() && line.back() == '\n') line.pop_back();
        std::string value;
        if (ExtractAnswer(line, prefix->second, &value)) answers.push_back(value);
        return false;
    };
    if (!ExecuteCmd(argv, collect, nullptr, 1, kQuickToolTimeLimit) || answers.empty()) {
        return kNameNotResolved;
    }
    for (const std::string& answer : answers) output.append(answer);
    return kNoError;
}
