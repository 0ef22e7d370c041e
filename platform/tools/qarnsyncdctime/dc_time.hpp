// The pure parts of qarnsyncdctime: reading a controller's time and deciding whether the clock
// must follow it.
#pragma once

#include <ctime>
#include <string>
#include <vector>

namespace dctime {

// The largest offset (seconds) the clock may have from the controller's time.
inline constexpr double kAllowedOffset = 1.0;

// An LDAP GeneralizedTime in UTC, as a rootDSE's "currentTime" holds it ("20261123051500.0Z",
// fraction optional); false for anything else.
bool ParseGeneralizedTime(const std::string& text, time_t& seconds);

// Controller time minus local time, in seconds.
double ClockOffset(time_t controllerTime, const timespec& localTime);

// The clock is set when it is more than kAllowedOffset away from the controller.
bool NeedsClockSet(double offset);

// The hosts of a space-separated "host:port host:port" list (ldap_domain2hostlist), in order,
// each as an "ldap://host:port" URI.
std::vector<std::string> LdapURIs(const std::string& hostList);

}  // namespace dctime
