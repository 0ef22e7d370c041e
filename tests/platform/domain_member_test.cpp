#include <gtest/gtest.h>

#include <string>

#include "qarn.h"
#include "sandbox.hpp"

namespace {

const char kSmbConf[] = "/etc/samba/smb.conf";

// Only the global section is read (keys without regard to case, continued lines joined) and
// rewritten in place, or put on top when there is none; the rest of the file stays.
TEST(SmbConfGlobal, ReadAndRewrittenInPlace) {
    const std::string head = "# Samba of nas01\n[global]\n\tworkgroup = OLD\n";
    const std::string share = "\n[share]\n\tpath = /srv/share\n\tsecurity = share-level text\n";
    Sandbox::Remove(kSmbConf);
    QLIBC_SZHASH* global = QLIBCSzHashAlloc(1024);
    EXPECT_LT(QARNSMBConfGlobalGet(global), 0);  // no file
    Sandbox::WriteFile(kSmbConf, "[share]\n\tpath = /srv\n");
    QLIBCSzHashSetValue(global, "workgroup", "EXAMPLE");
    EXPECT_EQ(QARNSMBConfGlobalSet(global), 0);
    EXPECT_EQ(Sandbox::ReadFile(kSmbConf),
              "[global]\n\tworkgroup = EXAMPLE\n[share]\n\tpath = /srv\n");
    Sandbox::WriteFile(kSmbConf,
                       head +
                           "  Client  NTLMv2 Auth = no\n; a comment inside\n\tsecurity = user\n" +
                           "\tlog file = /var/log/samba/log.%m \\\n\t    continued\n" + share,
                       0640);
    EXPECT_EQ(QARNSMBConfGlobalGet(global), 4);
    EXPECT_STREQ(QLIBCSzHashGetValue(global, "SECURITY"), "user");
    EXPECT_STREQ(QLIBCSzHashGetValue(global, "log file"), "/var/log/samba/log.%m continued");
    QLIBCSzHashSetValue(global, "security", "ads");
    QLIBCSzHashSetValue(global, "realm", "EXAMPLE.TEST");
    EXPECT_EQ(QLIBCSzHashRemoveKey(global, "client NTLMv2 auth"), 0);
    EXPECT_EQ(QLIBCSzHashRemoveKey(global, "client NTLMv2 auth"), -1);
    EXPECT_EQ(QARNSMBConfGlobalSet(global), 0);
    const std::string written = head + "; a comment inside\n\tsecurity = ads\n" +
                                "\tlog file = /var/log/samba/log.%m continued\n" +
                                "\trealm = EXAMPLE.TEST\n" + share;
    EXPECT_EQ(Sandbox::ReadFile(kSmbConf), written);
    // A value that would add a line of its own is refused; the file stays as it was.
    QLIBCSzHashSetValue(global, "realm", "X\n[evil]");
    EXPECT_LT(QARNSMBConfGlobalSet(global), 0);
    EXPECT_EQ(Sandbox::ReadFile(kSmbConf), written);
    QLIBCSzHashFree(global);
}

TEST(DomainMember, NsswitchThroughWinbindAndBack) {
    const char* path = "/etc/nsswitch.conf";
    const std::string head = "# comment\npasswd:         files systemd";
    Sandbox::WriteFile(path, head + "\nhosts:          files dns\n");
    EXPECT_EQ(QARNWinsSetDomainNsswitch(1), 0);
    EXPECT_EQ(QARNWinsSetDomainNsswitch(1), 0);
    EXPECT_EQ(Sandbox::ReadFile(path),
              head + " winbind\nhosts:          files dns\ngroup:          files winbind\n");
    EXPECT_EQ(QARNWinsSetDomainNsswitch(0), 0);
    EXPECT_EQ(Sandbox::ReadFile(path),
              head + "\nhosts:          files dns\ngroup:          files\n");
}

TEST(DomainMember, TrustedDomainsFromTheDirectory) {
    const std::string global = "[global]\n\tworkgroup = EXAMPLE\n\trealm = EXAMPLE.TEST\n";
    const char* domains = "/usr/qarn/etc/private/trust_domain_info";
    Sandbox::WriteFile(kSmbConf, global);
    Sandbox::WriteFakeTool(
        "/usr/local/bin/net",
        "printf 'Got 1 replies\\n\\ntrustPartner: other.test\\nflatName: OTHER\\n'");
    EXPECT_EQ(QARNWinSetTrustDomain(1), 0);
    EXPECT_EQ(Sandbox::FakeToolArgs("net"),
              "ads search -P -d0 (objectClass=trustedDomain) trustPartner flatName\n");
    EXPECT_EQ(Sandbox::ReadFile(domains),
              "[EXAMPLE]\n\tFQDN=EXAMPLE.TEST\n\tNetBIOS=EXAMPLE\n[OTHER]\n\tFQDN=other.test\n"
              "\tNetBIOS=OTHER\n");
    EXPECT_EQ(Sandbox::ReadFile(kSmbConf), global + "\tallow trusted domains = yes\n");
    EXPECT_EQ(QARNWinSetTrustDomain(0), 0);
    EXPECT_EQ(Sandbox::ReadFile(domains), "");
    Sandbox::WriteScript("/usr/local/bin/net", "echo 'No logon servers'; exit 255");
    EXPECT_LT(QARNWinSetTrustDomain(1), 0);
}

TEST(DomainMember, DomainAdminsJoinTheAdminUsersOnce) {
    const std::string global = "[global]\n\tworkgroup = EXAMPLE\n\tadmin users = root";
    Sandbox::WriteFile(kSmbConf, global + "\n");
    EXPECT_EQ(QARNWinsDomainAddAdminGroup(), 0);
    EXPECT_EQ(QARNWinsDomainAddAdminGroup(), 0);
    EXPECT_EQ(Sandbox::ReadFile(kSmbConf), global + ", @\"EXAMPLE\\Domain Admins\"\n");
}

}  // namespace
