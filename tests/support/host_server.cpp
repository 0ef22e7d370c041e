#include "host_server.hpp"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include "call.hpp"
#include "host_process.hpp"

namespace {

bool Reachable() {
    try {
        WebClient client;
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

}  // namespace

void HostServer::Start(const std::string& www) {
    RunHost({"serve", "--www", www}, &pid_);
    for (int tries = 0; tries < 200 && !Reachable(); ++tries) usleep(50000);
}

int HostServer::Stop() {
    if (pid_ <= 0) return 0;
    kill(pid_, SIGTERM);
    int status = -1;
    waitpid(pid_, &status, 0);
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

WebSession LogIn(WebClient& client, const std::string& user, const std::string& password,
                 WebReply* reply) {
    WebReply login = client.Send(boost::beast::http::verb::post, "/api/login",
                                 R"({"user": ")" + user + R"(", "password": ")" + password + "\"}");
    std::string cookie = login.fields["Set-Cookie"];
    WebSession session{cookie.substr(0, cookie.find(';')), login.Json()["csrf"].asString()};
    if (reply != nullptr) *reply = login;
    return session;
}

std::vector<std::string> EventNames(const std::string& stream) {
    std::vector<std::string> names;
    for (size_t at = stream.find("event: "); at != std::string::npos;
         at = stream.find("event: ", at + 1)) {
        names.push_back(stream.substr(at + 7, stream.find('\n', at) - at - 7));
    }
    return names;
}

Json::Value LastEventData(const std::string& stream) {
    size_t data = stream.rfind("data: ");
    return ParseJson(stream.substr(data + 6, stream.find('\n', data) - data - 6));
}
