// generate_issue through dscheck serve with 50 keep-alive clients sharing one logged-in session,
// against the same calls in process through the dispatcher with 50 threads: requests per second
// and p99 latency; the server's resident memory idle and after each 100,000 requests. Runs in
// the tests' sandbox (its loopback, its accounts).
#include <algorithm>
#include <chrono>
#include <fstream>
#include <functional>
#include <iostream>
#include <thread>
#include <vector>

#include "host_server.hpp"
#include "module.hpp"
#include "request_dispatcher.hpp"
#include "sandbox.hpp"
#include "system_accounts.hpp"

namespace {

namespace http = boost::beast::http;
using Clock = std::chrono::steady_clock;

const int kClients = 50;
const int kRequests = 100000;
const char kDebug[] = "QARN.Core.DirectoryServiceCheck.Debug";

struct Figures {
    double perSecond;
    double p99Milliseconds;
};

// Runs kRequests calls of one request each on kClients threads; call(thread) does one.
Figures Load(const std::function<std::function<void()>(int)>& makeCaller) {
    std::vector<std::vector<double>> latencies(kClients);
    std::vector<std::thread> threads;
    auto start = Clock::now();
    for (int thread = 0; thread < kClients; ++thread) {
        threads.emplace_back([&, thread] {
            std::function<void()> call = makeCaller(thread);
            for (int i = 0; i < kRequests / kClients; ++i) {
                auto begin = Clock::now();
                call();
                latencies[thread].push_back(
                    std::chrono::duration<double, std::milli>(Clock::now() - begin).count());
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    std::vector<double> all;
    for (const auto& some : latencies) all.insert(all.end(), some.begin(), some.end());
    std::sort(all.begin(), all.end());
    return {all.size() / seconds, all[all.size() * 99 / 100]};
}

long ResidentKiB(pid_t pid) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.compare(0, 6, "VmRSS:") == 0) return std::stol(line.substr(6));
    }
    return -1;
}

void Print(const char* what, const Figures& figures) {
    std::cout << what << ": " << static_cast<long>(figures.perSecond) << " requests/s, p99 "
              << figures.p99Milliseconds << " ms\n";
}

Json::Value Params() {
    Json::Value params(Json::objectValue);
    params["errCode"] = 1034;
    params["level"] = 1;
    params["data"]["ips"].append("192.0.2.1");
    return params;
}

}  // namespace

int main() {
    Sandbox::Enter({DSCHECK_SOURCE_DIR, DSCHECK_BINARY_DIR});
    AddTestAccounts();
    HostServer server;
    server.Start("/tmp");
    WebClient first;
    WebFields guard = LogIn(first, "admin", kAccountPassword).Guard();
    Json::Value call(Json::objectValue);
    call["api"] = kDebug;
    call["method"] = "generate_issue";
    call["params"] = Params();
    std::string body = call.toStyledString();

    std::cout << "server RSS idle: " << ResidentKiB(server.pid()) << " KiB\n";
    for (int round = 1; round <= 2; ++round) {
        Print("HTTP, 50 clients", Load([&](int) {
                  auto client = std::make_shared<WebClient>();
                  return [client, &body, &guard] {
                      if (client->Send(http::verb::post, "/api/call", body, guard).status != 200)
                          std::cerr << "a call failed\n";
                  };
              }));
        std::cout << "server RSS after " << round * kRequests
                  << " requests: " << ResidentKiB(server.pid()) << " KiB\n";
    }

    Module module;
    std::string error;
    if (!module.Load(DSCHECK_BINARY_DIR "/dscheck.so", error)) {
        std::cerr << error << '\n';
        return 1;
    }
    RequestDispatcher dispatcher(module);
    CallRequest request;
    request.api = kDebug;
    request.method = "generate_issue";
    request.params = Params();
    Print("in process, 50 threads", Load([&](int) { return [&] { dispatcher.Call(request); }; }));

    server.Stop();
    return 0;
}
