// dscheck serve as a process on the sandbox's loopback: real PAM (pam_unix) against accounts
// written into the sandbox's /etc, a Beast client, the real module.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include "call.hpp"
#include "host_process.hpp"
#include "sandbox.hpp"
#include "system_accounts.hpp"
#include "web_client.hpp"

namespace {

namespace http = boost::beast::http;

const char kCheckList[] = "/usr/qarn/etc.defaults/directory/checklist/";
const char kProgressFile[] = "/tmp/dir_service_check_progress.json";
const char kDebug[] = "QARN.Core.DirectoryServiceCheck.Debug";
const char kAccountPassword[] = "Adm1n-pass";  // of admin and plain, hashed below
const char kHash[] =
    "$6$dscheckSalt$hHnHPjYYtKgs6fjJ5RjL6m7AipsX5/gLjIIFkJ4GUYfBdGlywpd7ZHkUXtsqKK"
    "cTXKtWvjVI6vpK6BOGDv9FI.";

// A warning that takes its time, then an error carrying the password.
const char kList[] = R"({"type": "domain_pretest", "inputs": ["password", "delay"], "stages": [
  {"stage": "one", "checks": [
    {"id": "a", "api": "QARN.Core.DirectoryServiceCheck.Debug", "method": "generate_issue",
     "params": {"errCode": {"value": 1013}, "level": {"value": 1}, "delay": {"input": "delay"}}},
    {"id": "c", "api": "QARN.Core.DirectoryServiceCheck.Debug", "method": "generate_issue",
     "params": {"errCode": {"value": 1031}, "password": {"input": "password"}}}]}]})";

struct Login {
    std::string cookie;
    std::string csrf;
    WebFields Guard() const { return {{"Cookie", cookie}, {"X-CSRF-Token", csrf}}; }
};

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

class Serve : public testing::Test {
  protected:
    void SetUp() override {
        AddTestAccounts();
        Sandbox::WriteFile(std::string(kCheckList) + "domain_pretest", kList);
        Sandbox::WriteFile(std::string(kCheckList) + "report_catalog.json",
                           Sandbox::ReadFile(DSCHECK_SOURCE_DIR "/checklist/report_catalog.json"));
        Sandbox::WriteFile("/usr/qarn/etc/directory/.keep", "");
        Sandbox::WriteFile("/tmp/www/index.html", "<h1>dscheck</h1>");
        Sandbox::Link("/etc/passwd", "/tmp/www/passwd.html");
        RunHost({"serve", "--www", "/tmp/www"}, &server_);
        for (int tries = 0; tries < 200 && !Reachable(); ++tries) usleep(50000);
    }
    void TearDown() override {
        EXPECT_EQ(Terminate(), 0);
        Sandbox::Remove(kProgressFile);
    }
    // SIGTERM; the server's exit status.
    int Terminate() {
        if (server_ <= 0) return 0;
        kill(server_, SIGTERM);
        int status = -1;
        waitpid(server_, &status, 0);
        server_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    static bool Reachable() {
        try {
            WebClient client;
            return true;
        } catch (const std::exception&) {
            return false;
        }
    }
    Login LogIn(WebClient& client, const std::string& user = "admin") {
        WebReply reply =
            client.Send(http::verb::post, "/api/login",
                        R"({"user": ")" + user + R"(", "password": ")" + kAccountPassword + "\"}");
        EXPECT_EQ(reply.status, 200) << reply.body;
        std::string cookie = reply.fields["Set-Cookie"];
        return {cookie.substr(0, cookie.find(';')), reply.Json()["csrf"].asString()};
    }
    WebReply Call(WebClient& client, const Login& login, const std::string& params) {
        return client.Send(http::verb::post, "/api/call",
                           std::string(R"({"api": ")") + kDebug +
                               R"(", "method": "generate_issue", "params": )" + params + "}",
                           login.Guard());
    }

    pid_t server_ = -1;
};

TEST_F(Serve, LogsInAdministratorsOnlyAndLimitsFailures) {
    WebClient client;
    Login login = LogIn(client);
    EXPECT_EQ(login.cookie.size(), std::string("dscheck_session=").size() + 64);
    WebReply first = client.Send(http::verb::post, "/api/login",
                                 R"({"user": "admin", "password": "Adm1n-pass"})");
    EXPECT_NE(first.fields["Set-Cookie"].find("; HttpOnly; SameSite=Strict; Path=/; Max-Age="),
              std::string::npos);
    EXPECT_EQ(first.fields["Cache-Control"], "no-store");
    for (const auto& [body, status] : std::vector<std::pair<std::string, int>>{
             {R"({"user": "admin", "password": "wrong"})", 401},
             {R"({"user": "plain", "password": "Adm1n-pass"})", 403},
             {R"({"user": "nobody-here", "password": "x"})", 401},
             {R"({"user": "admin"})", 400},
             {R"({"user": "admin", "password": "wrong"})", 401},
             {R"({"user": "admin", "password": "wrong"})", 401},
             {R"({"user": "admin", "password": "Adm1n-pass"})", 429}}) {
        WebReply reply = client.Send(http::verb::post, "/api/login", body);
        EXPECT_EQ(reply.status, status) << body;
        if (status == 429) {
            EXPECT_GT(std::stoi(reply.fields["Retry-After"]), 0);
        }
    }
    EXPECT_FALSE(Sandbox::Logged("Adm1n-pass"));
    EXPECT_EQ(client.Send(http::verb::get, "/api/session", "", login.Guard()).Json()["user"],
              "admin");
    EXPECT_EQ(client.Send(http::verb::post, "/api/logout", "", login.Guard()).status, 204);
    EXPECT_EQ(client.Send(http::verb::get, "/api/session", "", login.Guard()).status, 401);
}

TEST_F(Serve, GuardsStateChangesAndAnswersAsTheCommandLine) {
    WebClient client;
    Login login = LogIn(client);
    const std::string call =
        std::string(R"({"api": ")") + kDebug + R"(", "method": "generate_issue"})";
    for (const auto& [fields, status] : std::vector<std::pair<WebFields, int>>{
             {{}, 401},
             {{{"Cookie", "dscheck_session=00"}}, 401},
             {{{"Cookie", login.cookie}}, 403},
             {{{"Cookie", login.cookie}, {"X-CSRF-Token", login.csrf + "0"}}, 403},
             {{{"Cookie", login.cookie}, {"X-CSRF-Token", login.csrf}, {"Origin", "http://evil"}},
              403},
             {{{"Cookie", login.cookie},
               {"X-CSRF-Token", login.csrf},
               {"Origin", "http://127.0.0.1:8470"}},
              200}}) {
        EXPECT_EQ(client.Send(http::verb::post, "/api/call", call, fields).status, status)
            << testing::PrintToString(fields);
    }
    WebReply reply = Call(client, login, R"({"errCode": 1034, "level": 1})");
    HostRun cli = RunHost({"call", kDebug, "generate_issue", "errCode=1034", "level=1"});
    EXPECT_EQ(reply.body + "\n", cli.output);
    EXPECT_EQ(Call(client, login, R"({"errCode": "x"})").status, 502);
    EXPECT_EQ(client.Send(http::verb::post, "/api/call", "{\"api\": 1}", login.Guard()).status,
              400);
    EXPECT_EQ(client.Send(http::verb::post, "/api/call", "[[[[", login.Guard()).status, 400);
    WebReply progress = client.Send(
        http::verb::post, "/api/call",
        R"({"api": "QARN.Core.DirectoryServiceCheck.Progress", "method": "start_progress",
            "params": {"server_type": "domain"}})",
        login.Guard());
    EXPECT_EQ(progress.Json()["success"], true) << progress.body;
    Json::Value record = ParseJson(Sandbox::ReadFile(kProgressFile));
    EXPECT_EQ(record["runner"], "admin");
    EXPECT_EQ(record["client_ip"], "127.0.0.1");
}

TEST_F(Serve, RefusesOversizedRequestsAndTraversalWhileServingOthers) {
    WebClient served;
    Login login = LogIn(served);
    EXPECT_EQ(WebClient().Announce(100 * 1024).status, 413);
    EXPECT_EQ(
        WebClient().Send(http::verb::get, "/", "", {{"X-Big", std::string(9000, 'a')}}).status,
        431);
    WebFields many;
    for (int i = 0; i < 120; ++i) many["X-F" + std::to_string(i)] = "1";
    EXPECT_EQ(WebClient().Send(http::verb::get, "/", "", many).status, 431);
    EXPECT_EQ(Call(served, login, R"({"errCode": 1034})").status, 200);
    WebClient files;
    WebReply index = files.Send(http::verb::get, "/");
    EXPECT_EQ(index.body, "<h1>dscheck</h1>");
    EXPECT_EQ(index.fields["Content-Security-Policy"], "default-src 'self'");
    EXPECT_EQ(index.fields["X-Frame-Options"], "DENY");
    for (const char* target : {"/../../etc/passwd", "/%2e%2e/etc/passwd", "/passwd.html",
                               "/.hidden.html", "//etc/passwd.html", "/index.exe"}) {
        EXPECT_EQ(files.Send(http::verb::get, target).status, 404) << target;
    }
}

TEST_F(Serve, RunsStreamTheirEventsAndStayInTheHistory) {
    WebClient client;
    Login login = LogIn(client);
    Json::Value types = client.Send(http::verb::get, "/api/test-types", "", login.Guard()).Json();
    EXPECT_EQ(types["types"][0],
              ParseJson(R"({"name": "domain_pretest", "inputs": ["password", "delay"],
                            "secrets": ["password"]})"));
    const std::string start = R"({"type": "domain_pretest", "inputs": {"password": "S3cret",
                                  "delay": 1}})";
    WebReply started = client.Send(http::verb::post, "/api/runs", start, login.Guard());
    ASSERT_EQ(started.status, 202) << started.body;
    std::string run = started.Json()["run"].asString();
    EXPECT_EQ(client.Send(http::verb::post, "/api/runs", start, login.Guard()).status, 409);

    std::string stream =
        WebClient().Send(http::verb::get, "/api/runs/" + run + "/events", "", login.Guard()).body;
    EXPECT_EQ(EventNames(stream),
              (std::vector<std::string>{"stage", "check-started", "check-finished", "check-started",
                                        "check-finished", "report"}));
    Json::Value report = LastEventData(stream);
    EXPECT_EQ(report["status"], "error");
    EXPECT_EQ(report["checks"][1]["params"]["password"], "********");
    EXPECT_EQ(stream.find("S3cret"), std::string::npos);

    std::string again =
        WebClient().Send(http::verb::get, "/api/runs/" + run + "/events", "", login.Guard()).body;
    EXPECT_EQ(EventNames(again), std::vector<std::string>{"report"});
    EXPECT_EQ(client.Send(http::verb::get, "/api/runs/last", "", login.Guard()).Json()["run"], run);
    EXPECT_EQ(client.Send(http::verb::get, "/api/runs", "", login.Guard()).Json()["runs"][0]["run"],
              run);
    EXPECT_EQ(
        client.Send(http::verb::get, "/api/diff?a=" + run + "&b=last", "", login.Guard()).status,
        200);
    WebReply recheck =
        client.Send(http::verb::post, "/api/recheck", R"({"run": ")" + run + R"(", "check": "c",
                                    "secrets": {"password": "S3cret"}})",
                    login.Guard());
    EXPECT_EQ(recheck.Json()["code"], 1031) << recheck.body;
    EXPECT_EQ(recheck.Json()["params"]["password"], "********");
    EXPECT_EQ(client
                  .Send(http::verb::post, "/api/recheck",
                        R"({"run": ")" + run + R"(", "check": "zz"})", login.Guard())
                  .status,
              404);
    EXPECT_EQ(client.Send(http::verb::get, "/api/runs/nothing", "", login.Guard()).status, 404);
    for (const char* body :
         {R"({"type": "domain_pretest", "inputs": {"x": 1}})", R"({"type": "no_such_type"})"}) {
        EXPECT_EQ(client.Send(http::verb::post, "/api/runs", body, login.Guard()).status, 400);
    }
}

TEST_F(Serve, CancelAndTerminationCloseTheBracket) {
    WebClient client;
    Login login = LogIn(client);
    const std::string start = R"({"type": "domain_pretest", "inputs": {"delay": 2}})";
    std::string run =
        client.Send(http::verb::post, "/api/runs", start, login.Guard()).Json()["run"].asString();
    EXPECT_EQ(
        client.Send(http::verb::post, "/api/runs/" + run + "/cancel", "", login.Guard()).status,
        202);
    std::string stream =
        WebClient().Send(http::verb::get, "/api/runs/" + run + "/events", "", login.Guard()).body;
    EXPECT_EQ(LastEventData(stream)["complete"], false);
    EXPECT_FALSE(Sandbox::Exists(kProgressFile));

    sleep(1);  // a new run name
    ASSERT_EQ(client.Send(http::verb::post, "/api/runs", start, login.Guard()).status, 202);
    EXPECT_TRUE(Sandbox::Exists(kProgressFile));
    EXPECT_EQ(Terminate(), 0);
    EXPECT_FALSE(Sandbox::Exists(kProgressFile));
}

}  // namespace
