// The web-API's HTTP server: accepts on one address, plain or TLS, runs the connections on a
// few IO threads and the web-API on a pool of workers, until SIGTERM or SIGINT.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "web_api.hpp"

struct ListenConfig {
    std::string address = "127.0.0.1";
    unsigned short port = 8470;
    std::string tlsCert;  // both empty: plain HTTP
    std::string tlsKey;
};

class HttpServer {
  public:
    explicit HttpServer(WebApi& api);
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    // Binds and listens; false with a reason.
    bool Listen(const ListenConfig& config, std::string& error);
    // Serves until a signal ends it: then stops accepting, calls onStop, and returns.
    void Run(const std::function<void()>& onStop);

  private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};
