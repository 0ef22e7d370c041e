#include "abstract_check_handler.hpp"

#include "log.hpp"

namespace {

const char kSecurityPolicySettings[] =
    "https://learn.microsoft.com/en-us/previous-versions/windows/it-pro/windows-10/security/"
    "threat-protection/security-policy-settings/";
const char kSupportRequest[] = "https://www.qarn.com/support/technical-support-request";
const char kSRVRecordsArticle[] =
    "https://learn.microsoft.com/en-us/troubleshoot/windows-server/networking/"
    "verify-srv-dns-records-have-been-created";

std::string PolicyPage(const char* page) {
    return std::string(kSecurityPolicySettings) + page;
}

HelpLinkMap BuildHelpLinks() {
    HelpLinkMap links;
    for (ErrorCode code : {kWinbindNotAvailable, kWinbindPingFailed, kWinbindDCConnectionFailed,
                           kWinbindDomainNotFound, kNSSLookupFailed}) {
        links[code]["link"] = kSupportRequest;
    }
    links[kNoSRVRecord]["link"] = kSRVRecordsArticle;
    links[kSomeSRVRecordsMissing]["link"] = kSRVRecordsArticle;
    links[kMachineAccountConflict]["link"] =
        "https://learn.microsoft.com/en-us/previous-versions/windows/it-pro/windows-2000-server/"
        "cc961817(v=technet.10)";
    links[kAuthFailedSomeDCsJoined]["link"] =
        "https://learn.microsoft.com/en-us/windows-server/identity/ad-ds/manage/troubleshoot/"
        "troubleshooting-active-directory-replication-problems";
    links[kUserAccountControl]["link"] =
        "https://learn.microsoft.com/en-us/troubleshoot/windows-server/active-directory/"
        "useraccountcontrol-manipulate-account-properties";
    links[kLogonTypeNotGranted]["link"] = PolicyPage("access-this-computer-from-the-network");
    links[kMachineAccountFlagsDenied]["link"] = PolicyPage("add-workstations-to-domain");
    links[kNTLMBlocked]["link_server_exception"] =
        PolicyPage("network-security-restrict-ntlm-add-server-exceptions-in-this-domain");
    links[kNTLMBlocked]["link_ntlm_traffic"] =
        PolicyPage("network-security-restrict-ntlm-incoming-ntlm-traffic");
    links[kNTLMBlocked]["link_ntlm_auth"] =
        PolicyPage("network-security-restrict-ntlm-ntlm-authentication-in-this-domain");
    return links;
}

}  // namespace

const HelpLinkMap kHelpLinks = BuildHelpLinks();

AbstractCheckHandler::AbstractCheckHandler(QARN::APIRequest* request, QARN::APIResponse* response)
    : m_request(request), m_response(response) {}

void AbstractCheckHandler::SetError(ErrorSeverity severity, ErrorCode code) {
    if (severity == kCodeOnly) {
        SetError(code);
        return;
    }
    auto links = kHelpLinks.find(code);
    if (links != kHelpLinks.end()) {
        Json::Value& info = m_data["info"];
        for (const auto& [key, link] : links->second) {
            info[key] = link;
        }
    }
    if (!m_data.isMember("isPlural")) {
        m_data["isPlural"] = false;
    }
    m_data["level"] = static_cast<int>(severity);
    DS_LOG(LOG_ERR, "%s:%d test fail(err code=%d)", static_cast<int>(code));
    m_response->SetError(code, m_data);
}

void AbstractCheckHandler::SetError(ErrorCode code) {
    DS_LOG(LOG_ERR, "%s:%d test fail(err code=%d)", static_cast<int>(code));
    m_response->SetError(code, Json::Value());
}

void AbstractCheckHandler::SetSuccess(const Json::Value& data) {
    m_response->SetSuccess(data);
}
