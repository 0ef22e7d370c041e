// Message tables: tool output texts mapped to error codes. A table is an ordered array closed by
// a row with an empty message; a line takes the code of the first row whose message it contains
// (plain, case-sensitive substring).
#pragma once

#include <string>

#include "error_code.hpp"

struct MessageEntry {
    const char* message;
    ErrorCode code;
};

// Messages of the Kerberos libraries and of "net ads" runs.
extern const MessageEntry kKrb5MessageTable[];
// NT status names printed by the Samba tools.
extern const MessageEntry kNTStatusMessageTable[];
// Failures reported by winbind's client library; the closing row (500) applies only to walks
// with a keyword.
extern const MessageEntry kWinbindMessageTable[];

// The first row whose message occurs in line, or the closing row.
const MessageEntry& FindMessage(const MessageEntry* table, const std::string& line);
// The code of the first matching row, 0 when none matches.
ErrorCode MatchMessage(const MessageEntry* table, const std::string& line);
