#include "tool_output.hpp"

#include <stdexcept>

#include "domain_messages.hpp"
#include "util.hpp"

namespace {

const char kPingLine[] = "Ping to winbindd";
const char kNetlogonLine[] = "checking the NETLOGON for domain";
const char kPingDcFailedLine[] = "failed to call wbcPingDc";
const char kFailed[] = "failed";
const char kSucceeded[] = "succeeded";
const char kFQDNPrefix[] = "\tFQDN=";

bool Contains(const std::string& text, const char* part) {
    return text.find(part) != std::string::npos;
}

// A NETLOGON line names the controller between its first and last double quote.
bool ReadNetlogonLine(const std::string& line, DCConnectionState& state) {
    size_t first = line.find('"');
    size_t last = line.rfind('"');
    if (first == std::string::npos || first >= last) {
        state.code = kNoDCAddress;
        return true;
    }
    state.controller = line.substr(first + 1, last - first - 1);
    if (Contains(line, kFailed)) {
        state.code = kWinbindDCConnectionFailed;
        return false;  // a later line may give the reason
    }
    if (Contains(line, kSucceeded)) {
        state.code = kNoError;
        return true;
    }
    return false;
}

void ReadPingDcFailure(const std::string& line, DCConnectionState& state) {
    ErrorCode code = FindMessage(kWinbindMessageTable, line).code;
    if (code == kWinbindDomainNotFound && state.controller.empty()) {
        state.code = kNoDCAddress;
    } else {
        state.code = code == kNoMessageMatched ? kWinbindDCConnectionFailed : code;
    }
}

}  // namespace

std::optional<ErrorCode> WinbindPingVerdict(const std::string& line) {
    if (!Contains(line, kPingLine)) return std::nullopt;
    if (Contains(line, kFailed)) return kWinbindPingFailed;
    if (Contains(line, kSucceeded)) return kNoError;
    return std::nullopt;
}

bool ReadDCConnectionLine(const std::string& line, DCConnectionState& state) {
    if (Contains(line, kNetlogonLine)) return ReadNetlogonLine(line, state);
    if (!Contains(line, kPingDcFailedLine)) return false;
    ReadPingDcFailure(line, state);
    return true;
}

std::optional<std::string> TrustedDomainFQDN(const std::string& line) {
    const size_t prefix = sizeof(kFQDNPrefix) - 1;
    if (line.compare(0, prefix, kFQDNPrefix) != 0) return std::nullopt;
    std::string domain = line.substr(prefix);
    StripWhitespaces(domain);
    return domain;
}

std::optional<int> ParseTimeOffset(const std::string& value) {
    try {
        return std::stoi(value);
    } catch (const std::logic_error&) {
        return std::nullopt;
    }
}
