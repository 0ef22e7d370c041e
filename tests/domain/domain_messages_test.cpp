#include <gtest/gtest.h>

#include <tuple>

#include "domain_messages.hpp"

namespace {

// How a line is matched; which text maps to which code is the tables' own content.
TEST(MessageTables, FirstRowContainedInTheLineWins) {
    const std::vector<std::tuple<const MessageEntry*, const char*, ErrorCode>> cases = {
        {kKrb5MessageTable, "kinit: Preauthentication failed; Clock skew too great", kAuthFailed},
        {kNTStatusMessageTable, "nt_status_logon_failure", kNoError},
        {kNTStatusMessageTable, "NT_STATUS_CONNECTION_RESET and NT_STATUS_IO_TIMEOUT",
         kNoDCReachable},
        {kNTStatusMessageTable, "", kNoError},
    };
    for (const auto& [table, line, code] : cases)
        EXPECT_EQ(MatchMessage(table, line), code) << line;
}

}  // namespace
