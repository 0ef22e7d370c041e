#include <gtest/gtest.h>
#include <stdlib.h>

#include <string>

#include "qarn.h"
#include "sandbox.hpp"

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
}

}  // namespace
