// The platform's `net` (installed as /usr/local/bin/net): the system's Samba `net` with two
// additions the checks rely on, "net ads auth" and "net ads info" keys with underscores.
// Every other command is handed to the system's net unchanged (execv, no shell).

#include <arpa/inet.h>
#include <netdb.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "line_reader.hpp"
#include "net_front.hpp"
#include "spawn.hpp"

namespace {

// Exit status when the system's net cannot run, as a shell reports it.
const int kCannotRun = 127;

volatile sig_atomic_t gChild = 0;

void ForwardSignal(int signal) {
    if (gChild > 0) kill(gChild, signal);
}

void InstallForwarding() {
    struct sigaction action = {};
    action.sa_handler = ForwardSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (int signal : {SIGTERM, SIGINT, SIGHUP, SIGQUIT}) sigaction(signal, &action, nullptr);
}

void WriteAll(int fd, const std::string& text) {
    const char* data = text.data();
    size_t left = text.size();
    while (left > 0) {
        ssize_t written = write(fd, data, left);
        if (written < 0) {
            if (errno == EINTR) continue;
            return;
        }
        data += written;
        left -= static_cast<size_t>(written);
    }
}

void ReportCannotRun() {
    std::fprintf(stderr, "net: cannot run %s: %s\n", netfront::kSystemNet, std::strerror(errno));
}

// Starts `args` with stdout (and stderr when `withErrors`) on pipes; signals reach it.
platform::Child Start(const std::vector<std::string>& args, bool withErrors) {
    platform::Child child = platform::Child::Start(
        netfront::kSystemNet, args,
        {platform::Stream::kInherit, platform::Stream::kPipe,
         withErrors ? platform::Stream::kPipe : platform::Stream::kInherit, false});
    if (child.started()) gChild = child.pid();
    return child;
}

// Exit status of the front for the child's end.
int Wait(platform::Child& child) {
    int code = child.Wait().ShellStatus(255);
    gChild = 0;
    return code;
}

std::vector<std::string> AddressesOf(const std::string& host);

// "net ads info": the system's net with its output keys rewritten; stderr passes untouched. With
// -S, an answer from another controller than the one asked for is a failure.
int RunAdsInfo(const std::vector<std::string>& args, const netfront::ParsedArgs& parsed) {
    platform::Child child = Start(netfront::PinnedInfoArgs(args, parsed), false);
    if (!child.started()) {
        ReportCannotRun();
        return kCannotRun;
    }
    std::string output, contactedAddress, contactedName;
    netfront::LineReader reader(child.TakeOut());
    while (reader.Read([&](const std::string& line, bool newline) {
        std::string address = netfront::InfoValue(line, "LDAP server");
        if (!address.empty()) contactedAddress = address;
        std::string name = netfront::InfoValue(line, "LDAP server name");
        if (!name.empty()) contactedName = name;
        std::string text = parsed.json ? line : netfront::RewriteInfoLine(line);
        output += newline ? text + "\n" : text;
    })) {
    }
    int code = Wait(child);
    if (code == 0 && !parsed.json &&
        !netfront::IsRequestedServer(parsed.server, AddressesOf(parsed.server), contactedAddress,
                                     contactedName)) {
        std::fprintf(stderr, "net ads info: %s did not answer (net reached %s instead)\n",
                     parsed.server.c_str(), contactedAddress.c_str());
        std::fprintf(stderr, "Didn't find the ldap server!\n");
        return 255;
    }
    WriteAll(STDOUT_FILENO, output);
    return code;
}

std::vector<std::string> AddressesOf(const std::string& host) {
    std::vector<std::string> addresses;
    if (host.empty() || netfront::IsAddressLiteral(host)) return addresses;
    struct addrinfo hints = {};
    hints.ai_socktype = SOCK_STREAM;
    struct addrinfo* result = nullptr;
    if (getaddrinfo(host.c_str(), nullptr, &hints, &result) != 0) return addresses;
    for (struct addrinfo* ai = result; ai != nullptr; ai = ai->ai_next) {
        char text[INET6_ADDRSTRLEN] = {};
        const void* address = nullptr;
        if (ai->ai_family == AF_INET) {
            address = &reinterpret_cast<struct sockaddr_in*>(ai->ai_addr)->sin_addr;
        } else if (ai->ai_family == AF_INET6) {
            address = &reinterpret_cast<struct sockaddr_in6*>(ai->ai_addr)->sin6_addr;
        }
        if (address != nullptr && inet_ntop(ai->ai_family, address, text, sizeof text)) {
            addresses.emplace_back(text);
        }
    }
    freeaddrinfo(result);
    return addresses;
}

// "net ads auth": see BuildAuthCommand (net_front.cpp) for the mechanism.
int RunAdsAuth(const netfront::ParsedArgs& parsed) {
    netfront::AuthPlan plan;
    std::string error;
    if (!netfront::BuildAuthCommand(parsed, plan, error)) {
        std::fprintf(stderr,
                     "net ads auth: %s\n"
                     "Usage: net ads auth [-U user%%password | -P | -k | -A file] [-S server] "
                     "[ntlm|krb5]\n"
                     "    Authenticate to the directory service (LDAP) of the domain "
                     "controller server\n"
                     "    with NTLM (ntlm) or Kerberos (krb5); exit status 0 on success.\n",
                     error.c_str());
        return 255;
    }
    platform::Child child = Start(plan.argv, true);
    if (!child.started()) {
        ReportCannotRun();
        return kCannotRun;
    }
    std::string contactedAddress, contactedName;
    std::vector<std::string> failureLines;
    netfront::LineReader out(child.TakeOut()), err(child.TakeErr());
    while (out.open() || err.open()) {
        struct pollfd fds[2];
        int count = 0;
        if (out.open()) fds[count++] = {out.fd(), POLLIN, 0};
        if (err.open()) fds[count++] = {err.fd(), POLLIN, 0};
        if (poll(fds, static_cast<nfds_t>(count), -1) < 0) {
            if (errno == EINTR) continue;
            break;
        }
        for (int i = 0; i < count; ++i) {
            if (fds[i].revents == 0) continue;
            if (fds[i].fd == out.fd()) {
                // The search result is not part of the answer; shown only when debugging.
                out.Read([&](const std::string& line, bool) {
                    if (plan.verbose) WriteAll(STDOUT_FILENO, line + "\n");
                });
            } else {
                err.Read([&](const std::string& line, bool) {
                    if (plan.verbose) WriteAll(STDERR_FILENO, line + "\n");
                    std::string address = netfront::ContactedServerAddress(line);
                    if (!address.empty()) contactedAddress = address;
                    std::string name = netfront::ConnectedServerName(line);
                    if (!name.empty()) contactedName = name;
                    if (netfront::IsFailureLine(line)) failureLines.push_back(line);
                });
            }
        }
    }
    int code = Wait(child);

    std::string method = plan.method.empty() ? "default" : plan.method;
    std::string target = plan.server.empty() ? "the domain" : plan.server;
    if (code == 0 && !netfront::IsRequestedServer(plan.server, AddressesOf(plan.server),
                                                  contactedAddress, contactedName)) {
        std::string reached = contactedName.empty() ? contactedAddress : contactedName;
        std::fprintf(stderr, "net ads auth: %s did not answer (net reached %s instead)\n",
                     plan.server.c_str(), reached.c_str());
        std::fprintf(stderr, "ads_connect: No logon servers are currently available\n");
        std::fprintf(stderr, "net ads auth: %s authentication to %s failed\n", method.c_str(),
                     target.c_str());
        return 255;
    }
    if (code == 0) {
        std::string reached = contactedName.empty() ? contactedAddress : contactedName;
        std::string via = reached.empty() || reached == plan.server ? "" : " (" + reached + ")";
        std::printf("net ads auth: %s authentication to %s%s succeeded\n", method.c_str(),
                    target.c_str(), via.c_str());
        return 0;
    }
    if (!plan.verbose) {
        for (const std::string& line : failureLines) WriteAll(STDERR_FILENO, line + "\n");
    }
    std::string reason = netfront::FailureReason(failureLines);
    std::fprintf(stderr, "ads_connect: %s\n",
                 reason.empty() ? "authentication failed" : reason.c_str());
    std::fprintf(stderr, "net ads auth: %s authentication to %s failed\n", method.c_str(),
                 target.c_str());
    return code;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 1) return 255;
    std::vector<std::string> args(argv, argv + argc);
    netfront::ParsedArgs parsed =
        netfront::ParseArgs(std::vector<std::string>(args.begin() + 1, args.end()));
    switch (netfront::Classify(parsed)) {
        case netfront::Kind::kAdsInfo:
            InstallForwarding();
            return RunAdsInfo(args, parsed);
        case netfront::Kind::kAdsAuth:
            InstallForwarding();
            return RunAdsAuth(parsed);
        case netfront::Kind::kPassThrough:
            break;
    }
    execv(netfront::kSystemNet, argv);
    ReportCannotRun();
    return kCannotRun;
}
