#include <gtest/gtest.h>

#include "domain_messages.hpp"

namespace {

struct MessageCase {
    const MessageEntry* table;
    const char* line;
    ErrorCode code;
};

TEST(MessageTables, FirstRowContainedInTheLineWins) {
    const std::vector<MessageCase> cases = {
        {kKrb5MessageTable, "kinit: Preauthentication failed; Clock skew too great", kAuthFailed},
        {kKrb5MessageTable, "Clock skew too great while getting initial credentials",
         kClockSkewTooGreat},
        {kKrb5MessageTable, "Cannot contact any KDC for requested realm", kNoKDCReachable},
        {kKrb5MessageTable, "The time at the primary domain controller is different",
         kClockSkewTooGreat},
        {kKrb5MessageTable, "NT_STATUS_LOGON_FAILURE", kNoError},
        {kNTStatusMessageTable, "session setup failed: NT_STATUS_ACCESS_DENIED", kAccessDenied},
        {kNTStatusMessageTable, "nt_status_logon_failure", kNoError},
        {kNTStatusMessageTable, "NT_STATUS_NOLOGON_WORKSTATION_TRUST_ACCOUNT", kAuthFailed},
        {kNTStatusMessageTable, "NT_STATUS_OBJECT_PATH_NOT_FOUND opening remote file",
         kObjectNotFound},
        {kNTStatusMessageTable, "NT_STATUS_CONNECTION_RESET and NT_STATUS_IO_TIMEOUT",
         kNoDCReachable},
        {kNTStatusMessageTable, "", kNoError},
    };
    for (const MessageCase& c : cases) {
        EXPECT_EQ(MatchMessage(c.table, c.line), c.code) << c.line;
    }
}

}  // namespace
