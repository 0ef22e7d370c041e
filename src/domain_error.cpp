#include <algorithm>

#include "domain.hpp"

namespace {

bool Contains(const std::vector<std::string>& hosts, const std::string& host) {
    return std::find(hosts.begin(), hosts.end(), host) != hosts.end();
}

bool IsAuthenticationFailure(ErrorCode code) {
    return code == kAuthFailed || code == kAccountLocked || code == kPasswordExpired;
}

// The codes that stand for a failure on some or all controllers after translation.
bool IsTranslated(ErrorCode code) {
    switch (code) {
        case kAuthFailedAllDCsJoined:
        case kAuthFailedSomeDCsJoined:
        case kAuthFailedSomeDCs:
        case kAccessDeniedAllDCsJoined:
        case kAccessDeniedAllDCsADServer:
        case kAuthFailedAllDCsADServer:
            return true;
        default:
            return false;
    }
}

}  // namespace

DomainCore::DomainError::DomainError(DomainCore& owner)
    : m_priority{kAuthFailed,  kAccountLocked,      kPasswordExpired,
                 kNTLMBlocked, kAccountRestriction, kNoDCReachable},
      m_owner(owner) {}

void DomainCore::DomainError::Add(ErrorCode code, const std::string& host) {
    if (host.empty()) return;
    auto failure = std::find_if(m_failures.begin(), m_failures.end(),
                                [code](const auto& entry) { return entry.first == code; });
    if (failure == m_failures.end()) {
        m_failures.push_back({code, {host}});
    } else if (!Contains(failure->second, host)) {
        failure->second.push_back(host);
    }
}

const std::vector<std::string>* DomainCore::DomainError::HostsOf(ErrorCode code) const {
    for (const auto& [recorded, hosts] : m_failures) {
        if (recorded == code) return &hosts;
    }
    return nullptr;
}

std::vector<std::string> DomainCore::DomainError::GetFailedHost(ErrorCode code) const {
    if (code == kNoError) {
        std::vector<std::string> all;
        for (const auto& failure : m_failures) {
            for (const std::string& host : failure.second) {
                if (!Contains(all, host)) all.push_back(host);
            }
        }
        return all;
    }
    const std::vector<std::string>* hosts = HostsOf(code);
    if (hosts == nullptr && IsTranslated(code)) hosts = HostsOf(ChosenCode());
    return hosts ? *hosts : std::vector<std::string>();
}

bool DomainCore::DomainError::IsAllHostFailed() const {
    size_t addresses = m_owner.m_testAddress.size();
    return addresses == 0 || GetFailedHost(kNoError).size() == addresses;
}

ErrorCode DomainCore::DomainError::TranslateErrorCode(ErrorCode code) const {
    if (!IsAllHostFailed()) {
        return m_owner.IsJoinedDomain() ? kAuthFailedSomeDCsJoined : kAuthFailedSomeDCs;
    }
    if (IsAuthenticationFailure(code)) {
        if (m_owner.IsADServer()) return kAuthFailedAllDCsADServer;
        return m_owner.IsJoinedDomain() ? kAuthFailedAllDCsJoined : code;
    }
    if (code == kAccessDenied) {
        if (m_owner.IsADServer()) return kAccessDeniedAllDCsADServer;
        return m_owner.IsJoinedDomain() ? kAccessDeniedAllDCsJoined : code;
    }
    return code;
}

ErrorCode DomainCore::DomainError::ChosenCode() const {
    if (m_failures.empty()) return kNoError;
    for (ErrorCode code : m_priority) {
        if (HostsOf(code) != nullptr) return code;
    }
    return m_failures.front().first;
}

ErrorCode DomainCore::DomainError::GetProperErr() const {
    ErrorCode chosen = ChosenCode();
    if (IsAuthenticationFailure(chosen) || chosen == kAccessDenied) {
        return TranslateErrorCode(chosen);
    }
    return chosen;
}
