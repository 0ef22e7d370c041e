#include <gtest/gtest.h>

#include <tuple>

#include "qarn.h"
#include "sandbox.hpp"

namespace {

TEST(Files, SambaSettings) {
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
    // Membership as Samba's settings state it.
    const std::tuple<const char*, bool, bool> cases[] = {
        {"security = ads", true, false},
        {"security = domain", true, false},
        {"security = user", false, false},
        {"", false, false},
        {"server role = active directory domain controller", false, true}};
    for (auto [setting, joined, directoryServer] : cases) {
        Sandbox::WriteFile("/etc/samba/smb.conf", std::string("[global]\n") + setting + "\n");
        EXPECT_EQ(QARNWinsIsJoined() != 0, joined) << setting;
        EXPECT_EQ(QARNWinsIsQarnADS() != 0, directoryServer) << setting;
    }
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

}  // namespace
