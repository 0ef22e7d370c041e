// What the test bed tells the end-to-end tests through their environment.
#pragma once

#include <cstdlib>
#include <string>

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
};
