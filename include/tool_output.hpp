// Pure parsers of what the system's tools print: each takes captured output and returns what the
// checks read from it.
#pragma once

#include <optional>
#include <string>

#include "error_code.hpp"

// "wbinfo -p": kWinbindPingFailed for a failed ping, kNoError for a successful one, nothing for
// any other line.
std::optional<ErrorCode> WinbindPingVerdict(const std::string& line);

// What "wbinfo -P" has told in one attempt; the controller's name stays across attempts.
struct DCConnectionState {
    std::string controller;
    ErrorCode code = kNoMessageMatched;
};
// Applies one output line of "wbinfo -P"; true when nothing more is to be read.
bool ReadDCConnectionLine(const std::string& line, DCConnectionState& state);

// The domain of a tab "FQDN=" line (trust file, "wbinfo -e --verbose"), trimmed; nothing for any
// other line.
std::optional<std::string> TrustedDomainFQDN(const std::string& line);

// A "Server_time_offset" value in seconds: a decimal 32-bit number after optional white space and
// sign, trailing text ignored. Nothing without digits or out of range.
std::optional<int> ParseTimeOffset(const std::string& value);
