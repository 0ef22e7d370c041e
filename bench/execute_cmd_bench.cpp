// Cost of running a tool through ExecuteCmd, against a bare posix_spawn + waitpid loop (the
// floor) and against popen through a shell.
#include <benchmark/benchmark.h>
#include <spawn.h>
#include <stdio.h>
#include <sys/wait.h>

#include "util.hpp"

extern char** environ;

namespace {

char kTrue[] = "/bin/true";

void RawSpawn(benchmark::State& state) {
    char* argv[] = {kTrue, nullptr};
    for (auto _ : state) {
        pid_t pid = -1;
        posix_spawn(&pid, kTrue, nullptr, nullptr, argv, environ);
        int status = 0;
        waitpid(pid, &status, 0);
        benchmark::DoNotOptimize(status);
    }
}
BENCHMARK(RawSpawn)->UseRealTime();

void ExecuteCmdNoLimit(benchmark::State& state) {
    int status = -1;
    for (auto _ : state) {
        benchmark::DoNotOptimize(ExecuteCmd({kTrue}, nullptr, &status, 1, 0));
    }
}
BENCHMARK(ExecuteCmdNoLimit)->UseRealTime();

// With a time limit the tool runs under /usr/bin/timeout: two programs per run.
void ExecuteCmdUnderTimeout(benchmark::State& state) {
    int status = -1;
    for (auto _ : state) {
        benchmark::DoNotOptimize(ExecuteCmd({kTrue}, nullptr, &status, 1, 10));
    }
}
BENCHMARK(ExecuteCmdUnderTimeout)->UseRealTime();

void PopenThroughShell(benchmark::State& state) {
    for (auto _ : state) {
        FILE* output = popen(kTrue, "r");
        char buffer[1024];
        while (fgets(buffer, sizeof(buffer), output) != nullptr) {
        }
        benchmark::DoNotOptimize(pclose(output));
    }
}
BENCHMARK(PopenThroughShell)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
