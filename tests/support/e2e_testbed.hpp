// The test bed as the end-to-end tests see it: its names and addresses from the environment the
// runner sets, and the domain's settings a test changes through the controller.
#pragma once

#include <json/value.h>

#include <cstdlib>
#include <string>
#include <vector>

inline std::string TestbedValue(const char* name, const char* fallback) {
    const char* value = std::getenv(name);
    return value != nullptr && value[0] != '\0' ? value : fallback;
}

struct Testbed {
    std::string realm = TestbedValue("TESTBED_REALM", "EXAMPLE.TEST");
    std::string dnsDomain = TestbedValue("TESTBED_DNS_DOMAIN", "example.test");
    std::string workgroup = TestbedValue("TESTBED_WORKGROUP", "EXAMPLE");
    std::string dc1 = TestbedValue("TESTBED_DC1_IP", "192.0.2.10");
    // A second controller that is stopped, when the runner made one.
    std::string dc2 = TestbedValue("DSCHECK_STOPPED_DC", "");
    std::string adminPassword = TestbedValue("TESTBED_ADMIN_PASSWORD", "");
    std::string userPassword = TestbedValue("TESTBED_USER_PASSWORD", "");
    std::string wrongPassword = TestbedValue("TESTBED_WRONG_PASSWORD", "wrong");
    std::string hostname = TestbedValue("TESTBED_SERVER_HOSTNAME", "nas01");

    // A request's domain and account; dc_ips too when given.
    Json::Value Logon(const std::string& user, const std::string& password,
                      const std::string& dcIPs = "") const;
    // The server's machine account without its "$": the host name in capitals.
    std::string MachineAccount() const;
    // Sets the domain's machine-account quota over LDAP as the administrator (from inside the
    // server's view).
    void SetMachineAccountQuota(int quota) const;
};

// Messages the system log received until one contained text, or two seconds passed.
std::string LogUntil(const std::string& text);
