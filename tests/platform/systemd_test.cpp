#include <gtest/gtest.h>
#include <stdlib.h>

#include <string>

#include "qarn.h"
#include "sandbox.hpp"
#include "sz_list.hpp"

namespace {

// A systemctl on PATH that fails for the units listed in /tmp/failing.
void FakeSystemctl() {
    setenv("PATH", "/usr/local/sbin:/usr/bin:/bin", 1);
    Sandbox::WriteFakeTool("/usr/local/sbin/systemctl",
                           "for u in $(cat /tmp/failing 2>/dev/null); do\n"
                           "  case \" $* \" in *\" $u \"*) echo \"$u failed\"; exit 1;; esac\n"
                           "done");
}

// Only the module's units are controlled, as the system's Samba units; nothing runs for others.
TEST(Systemd, ModuleUnitsMapToTheSystemsSambaUnits) {
    FakeSystemctl();
    EXPECT_EQ(QARNSystemdRestart("pkg-qarnsamba-winbindd"), 0);
    EXPECT_EQ(QARNSystemdReload("pkg-qarnsamba-smbd"), 0);
    EXPECT_EQ(QARNSystemdEnableStatusGet("pkg-qarnsamba-nmbd"), 1);
    EXPECT_LT(QARNSystemdRestart("sshd"), 0);
    EXPECT_LT(QARNSystemdEnableStatusGet(nullptr), 0);
    EXPECT_EQ(Sandbox::FakeToolArgs("systemctl"),
              "restart winbind\nreload smbd\nis-enabled nmbd\n");
    setenv("PATH", "/nonexistent", 1);
    EXPECT_LT(QARNSystemdRestart("pkg-qarnsamba-smbd"), 0);
}

TEST(Systemd, FailuresAreResultsAndNamed) {
    FakeSystemctl();
    Sandbox::WriteFile("/tmp/failing", "nmbd\n");
    EXPECT_EQ(QARNSystemdEnableStatusGet("pkg-qarnsamba-nmbd"), 0);
    EXPECT_LT(QARNSystemdReload("pkg-qarnsamba-nmbd"), 0);
    QLIBC_SZLIST* services =
        SzList({"pkg-qarnsamba-nmbd", "pkg-qarnsamba-smbd", "pkg-qarnsamba-winbindd"});
    QLIBC_SZLIST* failed = nullptr;
    EXPECT_LT(QARNSystemdServiceStartByReason("QARNWinsJoinDomain", services, &failed), 0);
    ASSERT_EQ(QLIBCSzListCount(failed), 1);
    EXPECT_STREQ(QLIBCSzListGet(failed, 0), "pkg-qarnsamba-nmbd");
    EXPECT_EQ(QLIBCSzListGet(failed, 1), nullptr);
    EXPECT_LT(QLIBCSzListPush(&failed, nullptr), 0);
    QLIBCSzListFree(failed);
    Sandbox::Remove("/tmp/failing");
    Sandbox::Remove("/tmp/systemctl.args");
    failed = nullptr;
    EXPECT_EQ(QARNSystemdServiceStopByReason("QARNWinsJoinDomain", services, &failed), 0);
    EXPECT_EQ(QLIBCSzListCount(failed), 0);
    EXPECT_EQ(Sandbox::FakeToolArgs("systemctl"), "stop nmbd\nstop smbd\nstop winbind\n");
    QLIBCSzListFree(failed);
    QLIBCSzListFree(services);
}

}  // namespace
