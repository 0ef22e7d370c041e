// The module's error numbers and severities as the client receives them.
#pragma once

#include <cstdint>

enum ErrorSeverity : int32_t {
    kError = 0,
    kWarning = 1,
    kCodeOnly = 2,
};

enum ErrorCode : int32_t {
    kNoError = 0,

    // Generic LDAP answers.
    kLDAPParamInvalid = 1,
    kLDAPRequestInitFailed = 2,
    kLDAPSearchFailed = 4,

    // Internal and parameter errors; 500, 503 and 600 never reach the client.
    kNoMessageMatched = 500,
    kBadParameter = 501,
    kInternalStepFailed = 502,
    kCommandTimedOut = 503,
    kNoICMPReply = 600,

    // Network and DNS.
    kNameNotResolved = 1000,
    kNoARecord = 1001,
    kNoAAAARecord = 1002,
    kNoAddressRecord = 1003,
    kNoNSRecord = 1004,
    kNoSRVRecord = 1005,
    kSomeSRVRecordsMissing = 1006,
    kSRVTargetNotResolved = 1007,
    kDNSServerUnreachable = 1008,
    kTestAddressNotResolved = 1009,
    kSMBPortUnreachable = 1010,
    kDomainLDAPPortsUnreachable = 1011,
    kNetBIOSPortUnreachable = 1012,
    kKerberosPortUnreachable = 1013,
    kDNSPortUnreachable = 1014,
    kPortUnreachable = 1015,
    kLDAPPortUnreachable = 1016,
    kMTUPingsLost = 1020,
    kServerIPConflict = 1021,
    kIPConflict = 1022,
    kHostnameConflict = 1023,

    // LDAP and authentication.
    kLDAPBindFailed = 1030,
    kAuthFailed = 1031,
    kAccountLocked = 1032,
    kPasswordExpired = 1033,
    kNTLMBlocked = 1034,
    kAccountRestriction = 1035,
    kClockSkewTooGreat = 1036,
    kAuthFailedAllDCsJoined = 1037,
    kLDAPUserProfileMismatch = 1040,
    kLDAPGroupProfileMismatch = 1041,
    kLDAPUserNameEmpty = 1042,
    kLDAPUserNameDuplicate = 1043,
    kLDAPUserIdEmpty = 1044,
    kLDAPUserIdType = 1045,
    kLDAPUserIdDuplicate = 1046,
    kLDAPGroupNameEmpty = 1047,
    kLDAPGroupNameDuplicate = 1048,
    kLDAPGroupIdEmpty = 1049,
    kLDAPGroupIdType = 1050,
    kLDAPGroupIdDuplicate = 1051,
    kLDAPSambaSchemaMissing = 1052,
    kLDAPSambaNTPasswordMissing = 1053,
    kLDAPProtectedConnectionRequired = 1054,

    // Domain checks.
    kDCSRVRecordMissing = 1069,
    kComputerNameTaken = 1071,
    kDuplicateSPN = 1074,
    kEssentialSPNMissing = 1075,
    kUserAccountControl = 1076,
    kLogonTypeNotGranted = 1077,
    kMachineAccountQuota = 1078,
    kConnectionReset = 1079,
    kMachineAccountConflict = 1080,
    kAuthFailedSomeDCsJoined = 1081,
    kTimeOffsetTooLarge = 1082,
    kAuthFailedSomeDCs = 1083,
    kWinbindNotAvailable = 1085,
    kWinbindPingFailed = 1086,
    kWinbindDCConnectionFailed = 1087,
    kWinbindDomainNotFound = 1088,
    kNSSLookupFailed = 1089,
    kSMBConfWrongValues = 1090,

    // Domain, join and progress.
    kHostnameUnreadable = 1100,
    kSMBConfUnreadable = 1102,
    kJoinConfUnreadable = 1103,
    kGPONotFound = 1104,
    kGPOUnreadable = 1106,
    kUnknownDomainError = 1108,
    kAlreadyJoinedOrBound = 1110,
    kOtherRunActive = 1111,
    kProgressOfOtherRun = 1112,
    kNoProgressFile = 1113,
    kUpdateRefusedOtherRunActive = 1114,
    kNoDCReachable = 1120,
    kNoDCAddress = 1121,
    kReadOnlyDCFound = 1122,
    kMachineAccountFlagsDenied = 1123,
    kJoinFailed = 1124,
    kDomainJoinRequired = 1126,
    kNoKDCReachable = 1127,
    kDCOperationUnsuccessful = 1128,

    // NT status errors.
    kObjectNotFound = 1300,
    kNoTrustAccount = 1301,
    kAccessDenied = 1302,
    kAccessDeniedAllDCsJoined = 1303,
    kAccessDeniedAllDCsADServer = 1304,

    // Variants for joined servers.
    kNameNotResolvedJoined = 2000,
    kNoNSRecordJoined = 2001,
    kNoDCAddressJoined = 2002,
    kAuthFailedAllDCsADServer = 2100,
};
