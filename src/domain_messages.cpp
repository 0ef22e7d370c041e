#include "domain_messages.hpp"

const MessageEntry kKrb5MessageTable[] = {
    {"Client not found in Kerberos database", kAuthFailed},
    {"Clients credentials have been revoked", kAccountLocked},
    {"Preauthentication failed", kAuthFailed},
    {"No logon servers are currently available", kNoDCReachable},
    {"Cannot contact any KDC for requested realm", kNoKDCReachable},
    {"Clock skew too great", kClockSkewTooGreat},
    {"The time at the primary domain controller", kClockSkewTooGreat},
    {"Invalid credentials", kAuthFailed},
    {"", kNoError},
};

const MessageEntry kNTStatusMessageTable[] = {
    {"NT_STATUS_LOGON_FAILURE", kAuthFailed},
    {"NT_STATUS_INVALID_ACCOUNT_NAME", kAuthFailed},
    {"NT_STATUS_NTLM_BLOCKED", kNTLMBlocked},
    {"NT_STATUS_NOT_SUPPORTED", kNTLMBlocked},
    {"NT_STATUS_ACCOUNT_RESTRICTION", kAccountRestriction},
    {"NT_STATUS_IO_TIMEOUT", kNoDCReachable},
    {"NT_STATUS_ACCOUNT_LOCKED_OUT", kAccountLocked},
    {"NT_STATUS_ACCOUNT_DISABLED", kAccountLocked},
    {"NT_STATUS_ACCOUNT_EXPIRED", kAccountLocked},
    {"NT_STATUS_PASSWORD_EXPIRED", kPasswordExpired},
    {"NT_STATUS_ACCESS_DENIED", kAccessDenied},
    {"NT_STATUS_TIME_DIFFERENCE_AT_DC", kClockSkewTooGreat},
    {"NT_STATUS_LOGON_TYPE_NOT_GRANTED", kLogonTypeNotGranted},
    {"NT_STATUS_CONNECTION_RESET", kConnectionReset},
    {"NT_STATUS_OBJECT_NAME_NOT_FOUND", kObjectNotFound},
    {"NT_STATUS_OBJECT_PATH_NOT_FOUND", kObjectNotFound},
    {"NT_STATUS_NO_TRUST_SAM_ACCOUNT", kNoTrustAccount},
    {"NT_STATUS_NO_LOGON_SERVERS", kNoDCReachable},
    {"NT_STATUS_HOST_UNREACHABLE", kNoDCReachable},
    {"NT_STATUS_UNSUCCESSFUL", kDCOperationUnsuccessful},
    {"NT_STATUS_NOLOGON_WORKSTATION_TRUST_ACCOUNT", kAuthFailed},
    {"", kNoError},
};

const MessageEntry kWinbindMessageTable[] = {
    {"WBC_ERR_NSS_ERROR", kNSSLookupFailed},
    {"WBC_ERR_WINBIND_NOT_AVAILABLE", kWinbindNotAvailable},
    {"WBC_ERR_DOMAIN_NOT_FOUND", kWinbindDomainNotFound},
    {"", kNoMessageMatched},
};

const MessageEntry& FindMessage(const MessageEntry* table, const std::string& line) {
    const MessageEntry* entry = table;
    while (entry->message[0] != '\0' && line.find(entry->message) == std::string::npos) ++entry;
    return *entry;
}

ErrorCode MatchMessage(const MessageEntry* table, const std::string& line) {
    const MessageEntry& entry = FindMessage(table, line);
    return entry.message[0] == '\0' ? kNoError : entry.code;
}
