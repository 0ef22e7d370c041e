#include <gtest/gtest.h>

#include "qarn.h"
#include "sandbox.hpp"

namespace {

TEST(QARNUserGet, ThroughTheNameService) {
    Sandbox::WriteFile("/etc/passwd",
                       Sandbox::ReadFile("/etc/passwd") + "svc01:x:4321:99::/srv/svc:/bin/sh\n");
    QARN_USER* user = nullptr;
    ASSERT_EQ(QARNUserGet("svc01", &user), 0);
    EXPECT_STREQ(user->name, "svc01");
    EXPECT_EQ(user->uid, 4321u);
    EXPECT_EQ(user->gid, 99u);
    EXPECT_STREQ(user->home, "/srv/svc");
    EXPECT_STREQ(user->shell, "/bin/sh");
    QARNUserFree(user);

    user = nullptr;
    EXPECT_LT(QARNUserGet("EXAMPLE\\nas01$", &user), 0);
    EXPECT_EQ(user, nullptr);
    EXPECT_EQ(QLIBCErrGet(), 0x501);
    EXPECT_STREQ(QLIBCErrorGetFile(), "user.cpp");
    EXPECT_GT(QLIBCErrorGetLine(), 0);
    QARNUserFree(nullptr);
}

}  // namespace
