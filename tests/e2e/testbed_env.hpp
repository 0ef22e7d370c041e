// What the test bed tells the end-to-end tests through their environment.
#pragma once

#include <cstdlib>
#include <string>

inline std::string TestbedValue(const char* name, const char* fallback) {
    const char* value = std::getenv(name);
    return value != nullptr && value[0] != '\0' ? value : fallback;
}

struct Testbed {
    std::string realm = TestbedValue("REALM", "EXAMPLE.TEST");
    std::string dnsDomain = TestbedValue("DNS_DOMAIN", "example.test");
    std::string workgroup = TestbedValue("WORKGROUP", "EXAMPLE");
    std::string dc1 = TestbedValue("DC1_IP", "192.0.2.10");
    std::string dc2 = TestbedValue("DC2_IP", "");  // a stopped second controller, when set
    std::string adminPassword = TestbedValue("ADMIN_PASSWORD", "");
    std::string userPassword = TestbedValue("USER_PASSWORD", "");
    std::string wrongPassword = TestbedValue("WRONG_PASSWORD", "wrong");
    std::string hostname = TestbedValue("SERVER_HOSTNAME", "nas01");
};
