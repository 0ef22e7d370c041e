#include "serve_command.hpp"

#include <signal.h>
#include <syslog.h>
#include <unistd.h>
#include <boost/asio/ip/address.hpp>

#include <iostream>

#include "request_dispatcher.hpp"
#include "run_manager.hpp"
#include "system_paths.hpp"
#include "web_api.hpp"

const char ServeCommand::kUsage[] =
    "       dscheck [--module PATH] serve [--listen ADDR:PORT] [--tls-cert FILE --tls-key FILE]\n"
    "               [--www DIR] [--admin-group NAME]\n"
    "serve listens on 127.0.0.1:8470 by default; any other than a loopback address needs TLS.\n";

namespace {

const char kSystemWwwDirectory[] = "/usr/share/dscheck/www";

// ADDR:PORT, ADDR being an IPv4 address or an IPv6 address in brackets.
bool ParseListen(const std::string& text, ListenConfig& listen) {
    size_t colon = text.rfind(':');
    if (colon == std::string::npos) return false;
    std::string address = text.substr(0, colon);
    if (address.size() >= 2 && address.front() == '[' && address.back() == ']') {
        address = address.substr(1, address.size() - 2);
    }
    char* end = nullptr;
    std::string port = text.substr(colon + 1);
    long number = std::strtol(port.c_str(), &end, 10);
    boost::system::error_code error;
    boost::asio::ip::make_address(address, error);
    if (error || port.empty() || *end != '\0' || number < 1 || number > 65535) return false;
    listen.address = address;
    listen.port = static_cast<unsigned short>(number);
    return true;
}

bool IsLoopback(const std::string& address) {
    boost::system::error_code error;
    return boost::asio::ip::make_address(address, error).is_loopback() && !error;
}

}  // namespace

bool ServeCommand::ParseOptions(const std::vector<std::string>& words, ServeOptions& options,
                                std::string& error) {
    for (size_t i = 0; i < words.size(); ++i) {
        const std::string& word = words[i];
        if (i + 1 >= words.size()) {
            error = "unknown option or missing value: " + word;
            return false;
        }
        const std::string& value = words[++i];
        if (word == "--listen") {
            if (!ParseListen(value, options.listen)) {
                error = "--listen takes ADDR:PORT (an IPv6 address in brackets): " + value;
                return false;
            }
        } else if (word == "--tls-cert") {
            options.listen.tlsCert = value;
        } else if (word == "--tls-key") {
            options.listen.tlsKey = value;
        } else if (word == "--www") {
            options.wwwDirectory = value;
        } else if (word == "--admin-group") {
            options.adminGroup = value;
        } else {
            error = "unknown option: " + word;
            return false;
        }
    }
    if (options.listen.tlsCert.empty() != options.listen.tlsKey.empty()) {
        error = "--tls-cert and --tls-key go together";
        return false;
    }
    if (options.listen.tlsCert.empty() && !IsLoopback(options.listen.address)) {
        error = "serving on " + options.listen.address +
                " needs TLS (--tls-cert and --tls-key); only loopback may serve plain HTTP";
        return false;
    }
    return true;
}

std::string ServeCommand::DefaultWwwDirectory(const std::string& hostDirectory) {
    std::string beside = hostDirectory + "/../share/dscheck/www";
    return access(beside.c_str(), R_OK | X_OK) == 0 ? beside : kSystemWwwDirectory;
}

int ServeCommand::Run() {
    signal(SIGPIPE, SIG_IGN);
    RequestDispatcher dispatcher(module_);
    RunManager runs(dispatcher, DiagnosisSetup{kCheckListDirectory, kHistoryDirectory, 4});
    WebApi api(dispatcher, runs, options_.wwwDirectory, options_.adminGroup);
    HttpServer server(api);
    std::string error;
    if (!server.Listen(options_.listen, error)) {
        std::cerr << "dscheck: serve: cannot listen on " << options_.listen.address << ":"
                  << options_.listen.port << ": " << error << '\n';
        return 1;
    }
    std::string url = std::string(options_.listen.tlsCert.empty() ? "http" : "https") + "://" +
                      options_.listen.address + ":" + std::to_string(options_.listen.port);
    std::cerr << "dscheck: serving " << url << " (www: " << options_.wwwDirectory << ")"
              << std::endl;
    syslog(LOG_INFO, "%s:%d serving %s", __FILE_NAME__, __LINE__, url.c_str());
    server.Run([&runs] { runs.Stop(); });
    syslog(LOG_INFO, "%s:%d stopped", __FILE_NAME__, __LINE__);
    return 0;
}
