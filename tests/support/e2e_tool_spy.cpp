#include "e2e_tool_spy.hpp"

#include <unistd.h>

#include <cstring>

#include "sandbox.hpp"

namespace {

const char* const kTools[] = {"/usr/bin/nslookup",
                              "/usr/local/bin/net",
                              "/usr/local/bin/smbclient",
                              "/usr/local/bin/wbinfo",
                              "/usr/local/bin/tdbtool",
                              "/usr/bin/kinit",
                              "/usr/bin/klist",
                              "/bin/ping",
                              "/sbin/arping",
                              "/usr/qarn/sbin/qarnwin",
                              "/usr/qarn/sbin/qarnsyncdctime"};

const char* ToolName(const char* path) {
    return strrchr(path, '/') + 1;
}

}  // namespace

void SpyOnTools() {
    for (const char* tool : kTools) {
        Sandbox::WriteFakeTool(tool, "exit 1");
        Sandbox::ForgetFakeToolArgs(ToolName(tool));
    }
}

std::string SpiedToolRuns() {
    std::string runs;
    for (const char* tool : kTools) runs += Sandbox::FakeToolArgs(ToolName(tool));
    return runs;
}

bool ProcessOutlives(const std::string& pattern) {
    for (int wait = 0; wait < 100; ++wait) {
        if (Sandbox::Run({"/usr/bin/pgrep", "-x", pattern}) == 1) return false;  // none left
        usleep(10000);
    }
    return true;
}
