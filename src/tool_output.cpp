#include "tool_output.hpp"

#include <stdexcept>

#include "log.hpp"
#include "system_paths.hpp"

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
