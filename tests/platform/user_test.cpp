#include <gtest/gtest.h>

#include <string>

#include "qarn.h"
#include "sandbox.hpp"

namespace {

TEST(QARNUserGet, ThroughTheNameService) {
    Sandbox::WriteFile("/etc/passwd",
                       Sandbox::ReadFile("/etc/passwd") + "svc01:x:4321:99::/srv/svc:/bin/sh\n");
    QARN_USER* user = nullptr;
    ASSERT_EQ(QARNUserGet("svc01", &user), 0);
    EXPECT_EQ(std::string(user->name) + ":" + std::to_string(user->uid) + ":" +
                  std::to_string(user->gid) + ":" + user->home + ":" + user->shell,
              "svc01:4321:99:/srv/svc:/bin/sh");
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
