// LDAP checks on a big directory: wall time and peak memory of check_profile and of the entry
// checks (from the profile's cache and live), against ldapsearch fetching the same entries. Each
// measured step runs in a child process of its own; its peak resident size minus that of an idle
// child is what the step added.
//
//   ldap_bench [--users N] [--groups N] [--repeat N]
//
// Default: 100000 users, a fifth as many groups; ldapsearch and check_profile run once each (with
// --repeat, N times in turn, the best of each reported).
#include <stdio.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "api_table.hpp"
#include "call.hpp"
#include "sandbox.hpp"
#include "slapd.hpp"

namespace {

struct Measure {
    double seconds;
    double cpuSeconds;
    long peakKiB;  // added to the resident size of an idle child
};

double Seconds(const struct timeval& time) {
    return time.tv_sec + time.tv_usec / 1e6;
}

double Now() {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec + now.tv_nsec / 1e9;
}

// Runs step in a child; its wall and CPU time and its peak resident size.
Measure RunChild(const std::function<void()>& step) {
    fflush(stdout);
    double start = Now();
    pid_t pid = fork();
    if (pid == 0) {
        step();
        _exit(0);
    }
    int status = 0;
    struct rusage usage = {};
    wait4(pid, &status, 0, &usage);
    return {Now() - start, Seconds(usage.ru_utime) + Seconds(usage.ru_stime), usage.ru_maxrss};
}

// RunChild, the peak less that of an idle child forked just before: the parent grows as it
// collects what slapd logs.
Measure InChild(const std::function<void()>& step) {
    Sandbox::TakeLog();
    long idle = RunChild([] {}).peakKiB;
    Measure m = RunChild(step);
    m.peakKiB -= idle;
    return m;
}

Measure Program(const std::vector<std::string>& argv) {
    return InChild([&argv] {
        freopen("/dev/null", "w", stdout);
        std::vector<char*> args;
        for (const std::string& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
        args.push_back(nullptr);
        execv(args[0], args.data());
        _exit(127);
    });
}

// Runs one check; expectedCode -1 accepts any answer.
Measure Check(QARN::APIEntryFunction entry, const Json::Value& params, int expectedCode) {
    return InChild([&] {
        QARN::APIResponse response = CallEntry(entry, params);
        if (expectedCode >= 0 && response.GetErrorCode() != expectedCode) {
            fprintf(stderr, "unexpected answer %d\n", response.GetErrorCode());
            _exit(1);
        }
    });
}

// The shorter times and the higher peak of two runs of a step.
Measure Best(const Measure& a, const Measure& b) {
    return {std::min(a.seconds, b.seconds), std::min(a.cpuSeconds, b.cpuSeconds),
            std::max(a.peakKiB, b.peakKiB)};
}

void Report(const char* name, const Measure& m, long entries) {
    long added = m.peakKiB;
    printf("%-44s %8.3f s %8.3f s %9ld KiB %8.0f B/entry\n", name, m.seconds, m.cpuSeconds, added,
           entries ? added * 1024.0 / entries : 0.0);
}

// The value of option name ("--users") in argv, or fallback.
long Option(int argc, char** argv, const std::string& name, long fallback) {
    for (int i = 1; i + 1 < argc; ++i) {
        if (argv[i] == name) return std::stol(argv[i + 1]);
    }
    return fallback;
}

}  // namespace

int main(int argc, char** argv) {
    long users = Option(argc, argv, "--users", 100000);
    std::string groups = std::to_string(Option(argc, argv, "--groups", users / 5));
    long repeat = Option(argc, argv, "--repeat", 1);
    Sandbox::Enter({DSCHECK_SOURCE_DIR, DSCHECK_BINARY_DIR});

    double start = Now();
    Slapd server;
    if (!server.Start({"--users", std::to_string(users), "--groups", groups})) return 1;
    printf("slapd with %s users and %s groups ready in %.1f s\n", server.Get("USERS_COUNT").c_str(),
           server.Get("GROUPS_COUNT").c_str(), Now() - start);
    long userCount = std::stol(server.Get("USERS_COUNT"));
    long groupCount = std::stol(server.Get("GROUPS_COUNT"));

    Json::Value params = server.BindRequest();
    params["profile_rules"] = Json::Value(Json::arrayValue);

    printf("idle child: %ld KiB\n\n%-44s %10s %10s %13s %14s\n", RunChild([] {}).peakKiB, "step",
           "wall", "cpu", "peak added", "per entry");

    struct Kind {
        const char* type;
        long count;
        const char* filter;
        std::vector<std::string> attrs;
        std::vector<std::pair<const char*, QARN::APIEntryFunction>> checks;
    };
    const Kind kinds[] = {
        {"user",
         userCount,
         "(objectClass=posixAccount)",
         {"uid", "uidNumber", "sambaNTPassword"},
         {{"check_user_name_empty", CheckLDAPUserNameEmpty_v1},
          {"check_user_name_dup", CheckLDAPUserNameDup_v1},
          {"check_user_id_empty", CheckLDAPUserIdEmpty_v1},
          {"check_user_id_type", CheckLDAPUserIdType_v1},
          {"check_user_id_dup", CheckLDAPUserIdDup_v1}}},
        {"group",
         groupCount,
         "(objectClass=posixGroup)",
         {"cn", "gidNumber"},
         {{"check_group_name_empty", CheckLDAPGroupNameEmpty_v1},
          {"check_group_name_dup", CheckLDAPGroupNameDup_v1},
          {"check_group_id_empty", CheckLDAPGroupIdEmpty_v1},
          {"check_group_id_type", CheckLDAPGroupIdType_v1},
          {"check_group_id_dup", CheckLDAPGroupIdDup_v1}}},
    };
    for (const Kind& kind : kinds) {
        params["type"] = kind.type;
        std::vector<std::string> search = {"/usr/bin/ldapsearch",
                                           "-x",
                                           "-LLL",
                                           "-o",
                                           "ldif-wrap=no",
                                           "-E",
                                           "pr=1000/noprompt",
                                           "-H",
                                           server.Get("LDAP_URI"),
                                           "-D",
                                           server.Get("BIND_DN"),
                                           "-w",
                                           server.Get("BIND_PW"),
                                           "-b",
                                           server.Get("SUFFIX"),
                                           kind.filter};
        search.insert(search.end(), kind.attrs.begin(), kind.attrs.end());
        // The two take turns; the best of each counts (the machine may be busy).
        Measure reference = Program(search);
        Measure profile = Check(CheckLDAPProfile_v1, params, 0);
        for (long i = 1; i < repeat; ++i) {
            reference = Best(reference, Program(search));
            profile = Best(profile, Check(CheckLDAPProfile_v1, params, 0));
        }
        Report((std::string("ldapsearch, ") + kind.type + "s").c_str(), reference, kind.count);
        Report((std::string("check_profile (query and cache), type ") + kind.type).c_str(), profile,
               kind.count);
        printf("  ratio to ldapsearch: %.2f\n", profile.seconds / reference.seconds);
        for (bool forced : {false, true}) {
            params["forced_get_data"] = forced;
            for (const auto& check : kind.checks) {
                Measure m = Check(check.second, params, -1);
                std::string name = std::string(check.first) + (forced ? " (live)" : " (cache)");
                Report(name.c_str(), m, kind.count);
                printf("  ratio to ldapsearch: %.2f\n", m.seconds / reference.seconds);
            }
        }
        params.removeMember("forced_get_data");
    }
    return 0;
}
