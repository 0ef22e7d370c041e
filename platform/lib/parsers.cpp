#include "parsers.hpp"

#include <net/route.h>

#include <algorithm>
#include <limits>
#include <sstream>

namespace platform {

namespace {

struct Route {
    std::string interfaceName;
    unsigned long destination = 1;
    unsigned long mask = 1;
    unsigned int flags = 0;
    unsigned long metric = 0;
};

bool ParseRoute(const std::string& line, Route* route) {
    std::istringstream fields(line);
    std::string gateway, refCount, use;
    fields >> route->interfaceName >> std::hex >> route->destination >> gateway >> route->flags >>
        std::dec >> refCount >> use >> route->metric >> std::hex >> route->mask;
    return !fields.fail();
}

bool IsDefaultRoute(const Route& route) {
    return route.destination == 0 && route.mask == 0 && (route.flags & RTF_UP) != 0;
}

const char kPasswd[] = "passwd:";
const char kBlanks[] = " \t";

}  // namespace

std::string ValueOf(const std::string& output, const std::string& key) {
    std::istringstream lines(output);
    std::string line;
    while (std::getline(lines, line)) {
        if (line.compare(0, key.size() + 1, key + ":") != 0) continue;
        size_t value = line.find_first_not_of(" \t", key.size() + 1);
        return value == std::string::npos ? "" : line.substr(value);
    }
    return "";
}

bool IsWrongPassword(const std::string& output) {
    // MIT kinit names the principal: "Client 'alice@EXAMPLE.TEST' not found in Kerberos database".
    for (const char* wrong :
         {"Password incorrect", "Preauthentication failed", "not found in Kerberos database"}) {
        if (output.find(wrong) != std::string::npos) return true;
    }
    return false;
}

std::string NameserverOf(const std::string& line) {
    std::istringstream words(line);
    std::string keyword, address;
    if (!(words >> keyword >> address) || keyword != "nameserver") return "";
    return address;
}

std::string DefaultRouteInterface(std::istream& table) {
    std::string line;
    std::getline(table, line);  // column titles
    std::string best;
    unsigned long bestMetric = std::numeric_limits<unsigned long>::max();
    Route route;
    while (std::getline(table, line)) {
        if (ParseRoute(line, &route) && IsDefaultRoute(route) && route.metric < bestMetric) {
            best = route.interfaceName;
            bestMetric = route.metric;
        }
    }
    return best;
}

bool ReadPasswdSources(const std::string& line, std::vector<std::string>& sources) {
    std::string text = line.substr(0, line.find('#'));
    size_t begin = text.find_first_not_of(" \t");
    if (begin == std::string::npos || text.compare(begin, sizeof(kPasswd) - 1, kPasswd) != 0) {
        return false;
    }
    bool inAction = false;
    for (size_t at = begin + sizeof(kPasswd) - 1; at < text.size();) {
        size_t start = text.find_first_not_of(kBlanks, at);
        if (start == std::string::npos) break;
        at = std::min(text.find_first_of(kBlanks, start), text.size());
        std::string word = text.substr(start, at - start);
        if (!inAction && word[0] == '[') inAction = true;
        if (inAction) {
            if (word.find(']') != std::string::npos) inAction = false;
            continue;
        }
        sources.push_back(word);
    }
    return true;
}

}  // namespace platform
