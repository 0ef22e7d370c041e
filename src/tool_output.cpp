#include "tool_output.hpp"

#include <stdexcept>

#include "domain_messages.hpp"
#include "log.hpp"
#include "system_paths.hpp"
#include "util.hpp"

namespace {

const char kRepliesPrefix[] = "Got ";
const char kRepliesSuffix[] = " replies";
const char kModuleMarker[] = "QARN.Core.DirectoryServiceCheck";
const char kKdcPrefix[] = "kdc = ";

bool StartsWith(const std::string& text, const std::string& prefix) {
    return text.compare(0, prefix.size(), prefix) == 0;
}

bool EndsWith(const std::string& text, const std::string& suffix) {
    return text.size() >= suffix.size() &&
           text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

}  // namespace

bool IsRepliesLine(const std::string& line) {
    return StartsWith(line, kRepliesPrefix) && EndsWith(line, kRepliesSuffix);
}

bool ReadReplyCount(const std::string& line, int& count) {
    size_t prefix = sizeof(kRepliesPrefix) - 1;
    size_t length = line.size() - prefix - (sizeof(kRepliesSuffix) - 1);
    try {
        count = std::stoi(line.substr(prefix, length));
        return true;
    } catch (const std::logic_error& error) {
        DS_LOG(LOG_ERR, "%s:%d stoi fail %s", error.what());
        return false;
    }
}

bool IsOtherModuleProcess(const std::string& line, int self) {
    if (line.find(kModuleMarker) == std::string::npos) return false;
    if (line.find(kPsTool) != std::string::npos) return false;
    int pid = 0;
    try {
        pid = std::stoi(line);
    } catch (const std::logic_error& error) {
        DS_LOG(LOG_DEBUG, "%s:%d stoi fail %s", error.what());
        return false;
    }
    return pid != self;
}

bool ReadRealmKDCs(std::istream& file, std::unordered_set<std::string>& kdcs) {
    std::string line;
    bool inRealms = false;
    while (!inRealms && std::getline(file, line)) {
        inRealms = line.find("[realms]") != std::string::npos;
    }
    if (!inRealms) return false;
    while (std::getline(file, line)) {
        size_t found = line.find(kKdcPrefix);
        if (found == std::string::npos) continue;
        std::string kdc = line.substr(found + sizeof(kKdcPrefix) - 1);
        if (!kdc.empty()) kdcs.insert(kdc);
    }
    return true;
}

size_t CountRepliers(const std::vector<std::string>& lines) {
    std::unordered_set<std::string> hardwareAddresses;
    for (const std::string& line : lines) {
        const size_t open = line.find('[');
        const size_t close = line.rfind(']');
        if (line.find("reply from") == std::string::npos || open == std::string::npos ||
            close == std::string::npos || close < open) {
            continue;
        }
        hardwareAddresses.insert(line.substr(open + 1, close - open - 1));
    }
    return hardwareAddresses.size();
}

Json::Value NetLookupAddresses(const std::vector<std::string>& lines) {
    Json::Value addresses;
    for (const std::string& line : lines) {
        const size_t colon = line.rfind(':');
        if (colon != std::string::npos) addresses.append(line.substr(0, colon));
    }
    return addresses;
}

bool ExtractAnswer(const std::string& line, const std::string& prefix, std::string* value) {
    const size_t start = line.find(prefix);
    if (start == std::string::npos) return false;
    std::string rest = line.substr(start + prefix.size());
    const size_t lastBlank = rest.rfind(' ');
    if (lastBlank != std::string::npos) rest.erase(0, lastBlank + 1);
    *value = rest;
    return true;
}

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
    if (!StartsWith(line, kFQDNPrefix)) return std::nullopt;
    std::string domain = line.substr(sizeof(kFQDNPrefix) - 1);
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
