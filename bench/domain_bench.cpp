// The domain core's own cost on top of the tools it runs, against a real domain controller.
// Runs inside the test bed's server view (bench/run-domain-bench): each operation is timed
// against the same tool runs made directly, and the ratio of the medians is reported.
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "api_table.hpp"
#include "domain.hpp"

extern char** environ;

namespace {

using Clock = std::chrono::steady_clock;
using Argv = std::vector<std::string>;
const int kRounds = 21;

std::string Env(const char* name, const char* fallback) {
    const char* value = getenv(name);
    return value && *value ? value : fallback;
}

// Runs a tool directly, its output discarded, and waits.
void RunDirectly(const Argv& argv) {
    std::vector<char*> array;
    for (const std::string& arg : argv) array.push_back(const_cast<char*>(arg.c_str()));
    array.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
    pid_t pid = -1;
    if (posix_spawn(&pid, array[0], &actions, nullptr, array.data(), environ) == 0) {
        int status = 0;
        waitpid(pid, &status, 0);
    }
    posix_spawn_file_actions_destroy(&actions);
}

double MedianMilliseconds(const std::function<void()>& run) {
    std::vector<double> times;
    for (int round = 0; round < kRounds; ++round) {
        Clock::time_point start = Clock::now();
        run();
        times.push_back(std::chrono::duration<double, std::milli>(Clock::now() - start).count());
    }
    std::nth_element(times.begin(), times.begin() + kRounds / 2, times.end());
    return times[kRounds / 2];
}

void Compare(const char* name, const std::function<void()>& module, const std::vector<Argv>& runs) {
    double moduleTime = MedianMilliseconds(module);
    double toolTime = MedianMilliseconds([&runs] {
        for (const Argv& argv : runs) RunDirectly(argv);
    });
    std::printf("%-44s module %8.2f ms   tools %8.2f ms   ratio %.3f\n", name, moduleTime, toolTime,
                moduleTime / toolTime);
}

QARN::APIResponse Call(QARN::APIEntryFunction entry, const Json::Value& params) {
    QARN::APIRequest request("bench", "bench", 1, params, "admin", "127.0.0.1");
    QARN::APIResponse response;
    entry(&request, &response);
    return response;
}

}  // namespace

int main() {
    const std::string dc = Env("TESTBED_DC1_IP", "192.0.2.10");
    const std::string domain = Env("TESTBED_DNS_DOMAIN", "example.test");
    const std::string user =
        Env("TESTBED_WORKGROUP", "EXAMPLE") + "\\alice%" + Env("TESTBED_USER_PASSWORD", "");

    Json::Value byName;
    byName["dc_ips"] = "dc1." + domain;
    Compare("prepare_test_ip (a controller by name)", [&] { Call(PrepareTestIP_v1, byName); },
            {{"/usr/bin/nslookup", "-type=a", "dc1." + domain, dc}});

    Json::Value logon;
    logon["dc_ips"] = dc;
    logon["username"] = "alice";
    logon["password"] = Env("TESTBED_USER_PASSWORD", "");
    Compare("smbclient round (NTLM, one controller)",
            [&] {
                QARN::APIRequest request("bench", "bench", 1, logon, "admin", "127.0.0.1");
                QARN::APIResponse response;
                DomainCore domainCore(&request, &response);
                ErrorSeverity severity = kCodeOnly;
                ErrorCode err = kNoError;
                domainCore.RunSmbclient(severity, err, 30);
            },
            {{"/usr/local/bin/smbclient", "-U", user, "-L", dc}});
    return 0;
}
