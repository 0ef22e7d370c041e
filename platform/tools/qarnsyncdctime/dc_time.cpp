#include "dc_time.hpp"

#include <cmath>
#include <cstdio>
#include <sstream>

namespace dctime {

namespace {

bool AllDigits(const std::string& text, size_t from, size_t count) {
    if (text.size() < from + count) return false;
    for (size_t i = from; i < from + count; ++i) {
        if (text[i] < '0' || text[i] > '9') return false;
    }
    return true;
}

// After the 14 digits of the date and time: an optional fraction, then "Z".
bool ValidSuffix(const std::string& text) {
    size_t position = 14;
    if (position < text.size() && (text[position] == '.' || text[position] == ',')) {
        size_t digits = position + 1;
        while (digits < text.size() && text[digits] >= '0' && text[digits] <= '9') ++digits;
        if (digits == position + 1) return false;
        position = digits;
    }
    return position + 1 == text.size() && text[position] == 'Z';
}

}  // namespace

bool ParseGeneralizedTime(const std::string& text, time_t& seconds) {
    if (!AllDigits(text, 0, 14) || !ValidSuffix(text)) return false;
    struct tm fields = {};
    fields.tm_year = std::stoi(text.substr(0, 4)) - 1900;
    fields.tm_mon = std::stoi(text.substr(4, 2)) - 1;
    fields.tm_mday = std::stoi(text.substr(6, 2));
    fields.tm_hour = std::stoi(text.substr(8, 2));
    fields.tm_min = std::stoi(text.substr(10, 2));
    fields.tm_sec = std::stoi(text.substr(12, 2));
    if (fields.tm_mon > 11 || fields.tm_mday < 1 || fields.tm_mday > 31 || fields.tm_hour > 23 ||
        fields.tm_min > 59 || fields.tm_sec > 60) {
        return false;
    }
    struct tm normalised = fields;
    time_t result = timegm(&normalised);
    // timegm folds a 31st of a shorter month into the next one: such a date is not a date.
    if (result == static_cast<time_t>(-1) || normalised.tm_mday != fields.tm_mday) return false;
    seconds = result;
    return true;
}

double ClockOffset(time_t controllerTime, const timespec& localTime) {
    return static_cast<double>(controllerTime - localTime.tv_sec) -
           static_cast<double>(localTime.tv_nsec) / 1e9;
}

bool NeedsClockSet(double offset) {
    return std::fabs(offset) > kAllowedOffset;
}

std::vector<std::string> LdapURIs(const std::string& hostList) {
    std::vector<std::string> uris;
    std::istringstream words(hostList);
    std::string host;
    while (words >> host) uris.push_back("ldap://" + host);
    return uris;
}

}  // namespace dctime
