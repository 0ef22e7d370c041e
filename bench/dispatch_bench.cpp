// Requests per second through the host's in-process dispatch of "generate_issue".
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <iostream>

#include "module.hpp"
#include "request_dispatcher.hpp"

namespace {

void DispatchGenerateIssue(benchmark::State& state) {
    Module module;
    std::string error;
    if (!module.Load(DSCHECK_BINARY_DIR "/dscheck.so", error)) {
        state.SkipWithError(error.c_str());
        return;
    }
    RequestDispatcher dispatcher(module);
    CallRequest call;
    call.api = "QARN.Core.DirectoryServiceCheck.Debug";
    call.method = "generate_issue";
    call.params["errCode"] = 1034;
    call.params["level"] = 1;
    call.params["data"]["ips"].append("192.0.2.1");
    for (auto _ : state) {
        CallResult result = dispatcher.Call(call);
        benchmark::DoNotOptimize(result.reply);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(DispatchGenerateIssue);

}  // namespace

BENCHMARK_MAIN();
