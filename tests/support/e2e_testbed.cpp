#include "e2e_testbed.hpp"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cctype>

#include "sandbox.hpp"

Json::Value Testbed::Logon(const std::string& user, const std::string& password,
                           const std::string& dcIPs) const {
    Json::Value params;
    params["server_address"] = dnsDomain;
    if (!dcIPs.empty()) params["dc_ips"] = dcIPs;
    params["username"] = user;
    params["password"] = password;
    return params;
}

std::string Testbed::MachineAccount() const {
    std::string account = hostname;
    for (char& c : account) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return account;
}

void Testbed::SetMachineAccountQuota(int quota) const {
    const char* script =
        "import sys\n"
        "from samba.samdb import SamDB\n"
        "from samba.param import LoadParm\n"
        "from samba.credentials import Credentials\n"
        "lp = LoadParm(); c = Credentials(); c.guess(lp)\n"
        "c.set_username('administrator'); c.set_password(sys.argv[2])\n"
        "db = SamDB(url='ldap://' + sys.argv[1], lp=lp, credentials=c)\n"
        "db.modify_ldif('dn: %s\\nchangetype: modify\\nreplace: ms-DS-MachineAccountQuota\\n'\n"
        "               'ms-DS-MachineAccountQuota: %s\\n' % (db.domain_dn(), sys.argv[3]))\n";
    ASSERT_EQ(
        Sandbox::Run({"/usr/bin/python3", "-c", script, dc1, adminPassword, std::to_string(quota)}),
        0);
}

std::string LogUntil(const std::string& text) {
    // The log receiver may lag behind the request.
    std::string log;
    for (int wait = 0; wait < 100 && log.find(text) == std::string::npos; ++wait) {
        for (const std::string& message : Sandbox::TakeLog()) log += message + "\n";
        usleep(20000);
    }
    return log;
}
