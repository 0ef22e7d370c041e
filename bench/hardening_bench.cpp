// Bounds of tool runs, in a sandbox with fake tools:
//   a request whose tool hangs returns within the time limit + 1 s (the platform's default limit,
//   or SECONDS given as the argument); a flooding tool leaves the process under 64 MB of maximum
//   resident memory; 1,000 tool-running requests leak no descriptor and leave no zombie.
#include <dirent.h>
#include <sys/resource.h>
#include <time.h>
#include <unistd.h>

#include <json/reader.h>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "api_table.hpp"
#include "net_lab.hpp"
#include "sandbox.hpp"
#include "spawn.hpp"
#include "tcp_listener.hpp"

namespace {

const int kRequests = 1000;

struct Row {
    const char* name;
    QARN::APIEntryFunction entry;
    const char* params;
    const char* tool;
};

const char kAddress[] = R"({"server_address": "ex.test", "dns": "127.0.0.3"})";
const char kRecord[] = R"({"server_address": "ex.test", "dns": "127.0.0.3", "record_type": "a"})";
const char kTestIP[] = R"({"test_ip": "10.20.0.50"})";

const Row kStuckRows[] = {
    {"test_dns_valid", TestDNSValid_v1, kAddress, "/usr/bin/nslookup"},
    {"test_hostname_conflict", TestHostnameConflict_v1, kAddress, "/usr/qarn/sbin/qarnwin"},
    {"test_nas_ip_conflict", TestNasIPConflict_v1, "{}", "/sbin/arping"},
    {"test_ip_conflict (timeout 10)", TestIPConflict_v1, kTestIP, "/sbin/arping"},
};
const Row kFloodRows[] = {
    {"test_dns_record", TestDNSRecord_v1, kRecord, "/usr/bin/nslookup"},
    {"test_hostname_conflict", TestHostnameConflict_v1, kAddress, "/usr/qarn/sbin/qarnwin"},
    {"test_ip_conflict", TestIPConflict_v1, kTestIP, "/sbin/arping"},
};

double Now() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec + now.tv_nsec / 1e9;
}

int Call(const Row& row) {
    Json::Value params;
    std::istringstream text(row.params);
    Json::parseFromStream(Json::CharReaderBuilder(), text, &params, nullptr);
    QARN::APIRequest request("api", "method", 1, params, "admin", "127.0.0.1");
    QARN::APIResponse response;
    row.entry(&request, &response);
    return response.GetErrorCode();
}

long MaxRssKiB() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

void BenchFloods() {
    for (const Row& row : kFloodRows) {
        Sandbox::WriteFakeTool(row.tool,
                               "yes 'Address: 192.0.2.1 Unicast reply from 10.20.0.50 [x'");
        const double start = Now();
        const int code = Call(row);
        printf("flood %-24s answer %d after %.2f s, max RSS %.1f MB\n", row.name, code,
               Now() - start, MaxRssKiB() / 1024.0);
    }
}

void BenchStuck() {
    for (const Row& row : kStuckRows) {
        Sandbox::WriteFakeTool(row.tool, "sleep 100000");
        const double start = Now();
        const int code = Call(row);
        printf("hang  %-30s answer %d after %.2f s (platform limit %d s)\n", row.name, code,
               Now() - start, platform::DefaultTimeLimit());
    }
}

int OpenDescriptors() {
    int count = 0;
    DIR* fds = opendir("/proc/self/fd");
    while (readdir(fds) != nullptr) ++count;
    closedir(fds);
    return count;
}

// Children of this process that ended and were not reaped (orphans come to us: we are PID 1).
int Zombies() {
    int count = 0;
    DIR* processes = opendir("/proc");
    while (dirent* entry = readdir(processes)) {
        std::ifstream stat(std::string("/proc/") + entry->d_name + "/stat");
        std::string pid, name, state;
        long parent = 0;
        if (stat >> pid >> name >> state >> parent && state == "Z" && parent == getpid()) ++count;
    }
    closedir(processes);
    return count;
}

void BenchManyRequests() {
    Sandbox::WriteFakeTool("/usr/bin/nslookup", "echo 'Address: 192.0.2.1'");
    Sandbox::WriteFakeTool("/usr/qarn/sbin/qarnwin", "echo 'no conflict'");
    Sandbox::WriteFakeTool("/sbin/arping", "exit 0");
    const Row rows[] = {kFloodRows[0], kFloodRows[1], kStuckRows[2]};
    const int descriptors = OpenDescriptors();
    const double start = Now();
    for (int i = 0; i < kRequests; ++i) Call(rows[i % 3]);
    const double wall = Now() - start;
    printf("%d requests in %.2f s: descriptors %d before, %d after; zombies %d\n", kRequests, wall,
           descriptors, OpenDescriptors(), Zombies());
}

}  // namespace

int main(int argc, char** argv) {
    Sandbox::Enter({DSCHECK_SOURCE_DIR, DSCHECK_BINARY_DIR});
    if (argc > 1) platform::SetDefaultLimits(atoi(argv[1]), platform::DefaultOutputCap());
    NetLab lab;
    TcpListener dns("127.0.0.3", 53, TcpListener::Mode::kReset);
    BenchFloods();
    BenchManyRequests();
    BenchStuck();
    return 0;
}
