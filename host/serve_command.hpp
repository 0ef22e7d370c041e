// "dscheck serve": the web-API over HTTP, with logins through PAM, until SIGTERM or SIGINT.
#pragma once

#include <string>
#include <vector>

#include "http_server.hpp"
#include "module.hpp"

struct ServeOptions {
    ListenConfig listen;
    std::string wwwDirectory;  // empty: the default
    std::string adminGroup = "administrators";
};

class ServeCommand {
  public:
    static const char kUsage[];

    // False with a reason when the words do not fit; also refuses plain HTTP on any address
    // but loopback.
    static bool ParseOptions(const std::vector<std::string>& words, ServeOptions& options,
                             std::string& error);
    // The web page beside an installed host (hostDirectory/../share/dscheck/www), else the
    // system's.
    static std::string DefaultWwwDirectory(const std::string& hostDirectory);

    ServeCommand(const Module& module, const ServeOptions& options)
        : module_(module), options_(options) {}

    // The process's exit status.
    int Run();

  private:
    const Module& module_;
    ServeOptions options_;
};
