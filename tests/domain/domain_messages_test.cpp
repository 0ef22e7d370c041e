#include <gtest/gtest.h>

#include "domain_messages.hpp"

namespace {

struct MessageCase {
    const MessageEntry* table;
    const char* line;
    ErrorCode code;
};

// How a line is matched; which text maps to which code is the tables' own content.
TEST(MessageTables, FirstRowContainedInTheLineWins) {
    const std::vector<MessageCase> cases = {
        {kKrb5MessageTable, "kinit: Preauthentication failed; Clock skew too great", kAuthFailed},
        {kNTStatusMessageTable, "nt_status_logon_failure", kNoError},
        {kNTStatusMessageTable, "NT_STATUS_CONNECTION_RESET and NT_STATUS_IO_TIMEOUT",
         kNoDCReachable},
        {kNTStatusMessageTable, "", kNoError},
    };
    for (const MessageCase& c : cases) {
        EXPECT_EQ(MatchMessage(c.table, c.line), c.code) << c.line;
    }
}

}  // namespace
