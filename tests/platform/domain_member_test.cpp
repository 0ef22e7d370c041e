#include <gtest/gtest.h>

#include <string>

#include "qarn.h"
#include "sandbox.hpp"

namespace {

const char kSmbConf[] = "/etc/samba/smb.conf";

const char kMemberConf[] =
    "# Samba of nas01\n"
    "[global]\n"
    "\tworkgroup = OLD\n"
    "  Client  NTLMv2 Auth = no\n"
    "; a comment inside\n"
    "\tsecurity = user\n"
    "\tlog file = /var/log/samba/log.%m \\\n"
    "\t    continued\n"
    "\n"
    "[share]\n"
    "\tpath = /srv/share\n"
    "\tsecurity = share-level text stays\n";

// Only the global section is read (keys without regard to case, continued lines joined) and
// rewritten in place; the rest of the file stays.
TEST(SmbConfGlobal, ReadAndRewrittenInPlace) {
    Sandbox::Remove(kSmbConf);
    QLIBC_SZHASH* global = QLIBCSzHashAlloc(1024);
    EXPECT_LT(QARNSMBConfGlobalGet(global), 0);  // no file
    Sandbox::WriteFile(kSmbConf, kMemberConf, 0640);
    EXPECT_EQ(QARNSMBConfGlobalGet(global), 4);
    EXPECT_STREQ(QLIBCSzHashGetValue(global, "SECURITY"), "user");
    EXPECT_STREQ(QLIBCSzHashGetValue(global, "log file"), "/var/log/samba/log.%m continued");
    QLIBCSzHashSetValue(global, "security", "ads");
    QLIBCSzHashSetValue(global, "realm", "EXAMPLE.TEST");
    EXPECT_EQ(QLIBCSzHashRemoveKey(global, "client NTLMv2 auth"), 0);
    EXPECT_EQ(QLIBCSzHashRemoveKey(global, "client NTLMv2 auth"), -1);
    EXPECT_EQ(QLIBCSzHashCount(global), 4);
    EXPECT_EQ(QARNSMBConfGlobalSet(global), 0);
    EXPECT_EQ(Sandbox::ReadFile(kSmbConf),
              "# Samba of nas01\n"
              "[global]\n"
              "\tworkgroup = OLD\n"
              "; a comment inside\n"
              "\tsecurity = ads\n"
              "\tlog file = /var/log/samba/log.%m continued\n"
              "\trealm = EXAMPLE.TEST\n"
              "\n"
              "[share]\n"
              "\tpath = /srv/share\n"
              "\tsecurity = share-level text stays\n");
    // A value that would add a line of its own is refused; the file stays as it was.
    std::string before = Sandbox::ReadFile(kSmbConf);
    QLIBCSzHashSetValue(global, "realm", "X\n[evil]");
    EXPECT_LT(QARNSMBConfGlobalSet(global), 0);
    EXPECT_EQ(Sandbox::ReadFile(kSmbConf), before);
    QLIBCSzHashFree(global);
}

TEST(SmbConfGlobal, AFileWithoutGlobalGetsOneOnTop) {
    Sandbox::WriteFile(kSmbConf, "[share]\n\tpath = /srv\n");
    QLIBC_SZHASH* global = QLIBCSzHashAlloc(4);
    QLIBCSzHashSetValue(global, "workgroup", "EXAMPLE");
    EXPECT_EQ(QARNSMBConfGlobalSet(global), 0);
    EXPECT_EQ(Sandbox::ReadFile(kSmbConf),
              "[global]\n\tworkgroup = EXAMPLE\n[share]\n\tpath = /srv\n");
    QLIBCSzHashFree(global);
}

TEST(DomainMember, NsswitchThroughWinbindAndBack) {
    const char* path = "/etc/nsswitch.conf";
    Sandbox::WriteFile(path,
                       "# comment\npasswd:         files systemd\nhosts:          files dns\n");
    EXPECT_EQ(QARNWinsSetDomainNsswitch(1), 0);
    EXPECT_EQ(QARNWinsSetDomainNsswitch(1), 0);
    EXPECT_EQ(Sandbox::ReadFile(path),
              "# comment\npasswd:         files systemd winbind\nhosts:          files dns\n"
              "group:          files winbind\n");
    EXPECT_EQ(QARNWinsSetDomainNsswitch(0), 0);
    EXPECT_EQ(Sandbox::ReadFile(path),
              "# comment\npasswd:         files systemd\nhosts:          files dns\n"
              "group:          files\n");
}

TEST(DomainMember, TrustedDomainsFromTheDirectory) {
    Sandbox::WriteFile(kSmbConf, "[global]\n\tworkgroup = EXAMPLE\n\trealm = EXAMPLE.TEST\n");
    Sandbox::WriteScript("/usr/local/bin/net",
                         "echo \"$*\" > /tmp/net-args\n"
                         "printf 'Got 1 replies\\n\\ntrustPartner: other.test\\n"
                         "flatName: OTHER\\n'");
    EXPECT_EQ(QARNWinSetTrustDomain(1), 0);
    EXPECT_EQ(Sandbox::ReadFile("/tmp/net-args"),
              "ads search -P -d0 (objectClass=trustedDomain) trustPartner flatName\n");
    EXPECT_EQ(Sandbox::ReadFile("/usr/qarn/etc/private/trust_domain_info"),
              "[EXAMPLE]\n\tFQDN=EXAMPLE.TEST\n\tNetBIOS=EXAMPLE\n"
              "[OTHER]\n\tFQDN=other.test\n\tNetBIOS=OTHER\n");
    EXPECT_EQ(Sandbox::ReadFile(kSmbConf),
              "[global]\n\tworkgroup = EXAMPLE\n\trealm = EXAMPLE.TEST\n"
              "\tallow trusted domains = yes\n");
    EXPECT_EQ(QARNWinSetTrustDomain(0), 0);
    EXPECT_EQ(Sandbox::ReadFile("/usr/qarn/etc/private/trust_domain_info"), "");
    Sandbox::WriteScript("/usr/local/bin/net", "echo 'No logon servers'; exit 255");
    EXPECT_LT(QARNWinSetTrustDomain(1), 0);
}

TEST(DomainMember, DomainAdminsJoinTheAdminUsersOnce) {
    Sandbox::WriteFile(kSmbConf, "[global]\n\tworkgroup = EXAMPLE\n\tadmin users = root\n");
    EXPECT_EQ(QARNWinsDomainAddAdminGroup(), 0);
    EXPECT_EQ(QARNWinsDomainAddAdminGroup(), 0);
    EXPECT_EQ(Sandbox::ReadFile(kSmbConf),
              "[global]\n\tworkgroup = EXAMPLE\n"
              "\tadmin users = root, @\"EXAMPLE\\Domain Admins\"\n");
}

}  // namespace
