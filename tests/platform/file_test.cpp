#include <gtest/gtest.h>

#include "qarn.h"
#include "sandbox.hpp"

namespace {

TEST(Files, KeyValueAndExistence) {
    Sandbox::WriteFile("/etc/samba/smb.conf",
                       "[global]\n# security = domain\n  security = ads\n"
                       "\tpassword server = \"dc1.example.test, dc2\"\n");
    char buffer[16];
    EXPECT_EQ(QLIBCFileGetKeyValue("/etc/samba/smb.conf", "security", buffer, 16, 0), 3);
    EXPECT_STREQ(buffer, "ads");
    EXPECT_EQ(QLIBCFileGetKeyValue("/etc/samba/smb.conf", "password server", buffer, 16, 0), 15);
    EXPECT_STREQ(buffer, "dc1.example.tes");
    EXPECT_EQ(QLIBCFileGetKeyValue("/etc/samba/smb.conf", "realm", buffer, 16, 0), 0);
    EXPECT_LT(QLIBCFileGetKeyValue("/etc/samba/none.conf", "realm", buffer, 16, 0), 0);
    EXPECT_EQ(QLIBCFileExist("/etc/samba/smb.conf"), 1);
    EXPECT_EQ(QLIBCFileExist("/etc/samba/none.conf"), 0);
}

TEST(FileLock, ExcludesAnotherProcess) {
    const std::vector<std::string> tryLock = {"/usr/bin/flock", "-n", "/run/lock/qarn-64.lock",
                                              "/bin/true"};
    ASSERT_EQ(QLIBCFileLock(0x46, 10), 0);
    EXPECT_EQ(Sandbox::Run(tryLock), 1);
    EXPECT_EQ(QLIBCFileUnlock(0x40), 0);
    EXPECT_EQ(Sandbox::Run(tryLock), 0);
    EXPECT_LT(QLIBCFileUnlock(0x40), 0);
}

struct MembershipCase {
    const char* smbConf;
    int joined;
    int directoryServer;
};

TEST(Membership, ReadFromSambaSettings) {
    for (const MembershipCase& c : {MembershipCase{"security = ads\n", 1, 0},
                                    {"security = domain\n", 1, 0},
                                    {"security = user\n", 0, 0},
                                    {"server role = active directory domain controller\n", 0, 1},
                                    {"", 0, 0}}) {
        Sandbox::WriteFile("/etc/samba/smb.conf", std::string("[global]\n") + c.smbConf);
        EXPECT_EQ(QARNWinsIsJoined() != 0, c.joined != 0) << c.smbConf;
        EXPECT_EQ(QARNWinsIsQarnADS() != 0, c.directoryServer != 0) << c.smbConf;
    }
}

}  // namespace
