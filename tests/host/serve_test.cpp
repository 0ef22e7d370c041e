// dscheck serve as a process on the sandbox's loopback: real PAM (pam_unix) against accounts
// written into the sandbox's /etc, a Beast client, the real module.
#include <gtest/gtest.h>
#include <unistd.h>

#include "call.hpp"
#include "host_process.hpp"
#include "host_server.hpp"
#include "sandbox.hpp"
#include "system_accounts.hpp"

namespace {

namespace http = boost::beast::http;

const char kProgressFile[] = "/tmp/dir_service_check_progress.json";
const std::string kDebug = "QARN.Core.DirectoryServiceCheck.Debug";

std::string CallBody(const std::string& params) {
    return R"({"api": ")" + kDebug + R"(", "method": "generate_issue", "params": )" + params + "}";
}

// A warning that takes its time, then an error carrying the password; admin logged in.
class Serve : public testing::Test {
  protected:
    void SetUp() override {
        AddTestAccounts();
        InstallPretest("debug_checks_serve.json");
        Sandbox::WriteFile("/tmp/www/index.html", "<h1>dscheck</h1>");
        Sandbox::Link("/etc/passwd", "/tmp/www/passwd.html");
        server_.Start("/tmp/www");
        WebClient client;
        session_ = LogIn(client, "admin", kAccountPassword, &login_);
        ASSERT_EQ(login_.status, 200) << login_.body;
    }
    void TearDown() override {
        EXPECT_EQ(server_.Stop(), 0);
        Sandbox::Remove(kProgressFile);
    }
    // One request of the logged-in session on a connection of its own.
    WebReply Send(http::verb verb, const std::string& target, const std::string& body = "") {
        return WebClient().Send(verb, target, body, session_.Guard());
    }
    std::string Run(const std::string& start) {
        return Send(http::verb::post, "/api/runs", start).Json()["run"].asString();
    }
    std::string Events(const std::string& run) {
        return Send(http::verb::get, "/api/runs/" + run + "/events").body;
    }

    HostServer server_;
    WebReply login_;
    WebSession session_;
};

TEST_F(Serve, LogsInAdministratorsOnlyAndLimitsFailures) {
    EXPECT_EQ(session_.cookie.size(), std::string("dscheck_session=").size() + 64);
    EXPECT_NE(login_.fields["Set-Cookie"].find("; HttpOnly; SameSite=Strict; Path=/; Max-Age="),
              std::string::npos);
    EXPECT_EQ(login_.fields["Cache-Control"], "no-store");
    WebClient client;
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
    EXPECT_FALSE(Sandbox::Logged(kAccountPassword));
    EXPECT_EQ(Send(http::verb::get, "/api/session").Json()["user"], "admin");
    EXPECT_EQ(Send(http::verb::post, "/api/logout").status, 204);
    EXPECT_EQ(Send(http::verb::get, "/api/session").status, 401);
}

TEST_F(Serve, GuardsStateChangesAndAnswersAsTheCommandLine) {
    const std::string cookie = session_.cookie, csrf = session_.csrf;
    for (const auto& [fields, status] : std::vector<std::pair<WebFields, int>>{
             {{}, 401},
             {{{"Cookie", "dscheck_session=00"}}, 401},
             {{{"Cookie", cookie}}, 403},
             {{{"Cookie", cookie}, {"X-CSRF-Token", csrf + "0"}}, 403},
             {{{"Cookie", cookie}, {"X-CSRF-Token", csrf}, {"Origin", "http://evil"}}, 403},
             {{{"Cookie", cookie}, {"X-CSRF-Token", csrf}, {"Origin", "http://127.0.0.1:8470"}},
              200}}) {
        EXPECT_EQ(WebClient().Send(http::verb::post, "/api/call", CallBody("{}"), fields).status,
                  status)
            << testing::PrintToString(fields);
    }
    WebReply reply =
        Send(http::verb::post, "/api/call", CallBody(R"({"errCode": 1034, "level": 1})"));
    HostRun cli = RunHost({"call", kDebug, "generate_issue", "errCode=1034", "level=1"});
    EXPECT_EQ(reply.body + "\n", cli.output);
    for (const auto& [body, status] : std::vector<std::pair<std::string, int>>{
             {CallBody(R"({"errCode": "x"})"), 502}, {R"({"api": 1})", 400}, {"[[[[", 400}}) {
        EXPECT_EQ(Send(http::verb::post, "/api/call", body).status, status) << body;
    }
    WebReply progress = Send(http::verb::post, "/api/call",
                             R"({"api": "QARN.Core.DirectoryServiceCheck.Progress",
                                 "method": "start_progress", "params": {"server_type": "domain"}})");
    EXPECT_EQ(progress.Json()["success"], true) << progress.body;
    Json::Value record = ParseJson(Sandbox::ReadFile(kProgressFile));
    EXPECT_EQ(record["runner"], "admin");
    EXPECT_EQ(record["client_ip"], "127.0.0.1");
}

TEST_F(Serve, RefusesOversizedRequestsAndTraversalWhileServingOthers) {
    WebClient served;
    EXPECT_EQ(WebClient().Announce(100 * 1024).status, 413);
    WebFields many{{"X-Big", std::string(9000, 'a')}};
    EXPECT_EQ(WebClient().Send(http::verb::get, "/", "", many).status, 431);
    many.clear();
    for (int i = 0; i < 120; ++i) many["X-F" + std::to_string(i)] = "1";
    EXPECT_EQ(WebClient().Send(http::verb::get, "/", "", many).status, 431);
    EXPECT_EQ(served.Send(http::verb::post, "/api/call", CallBody("{}"), session_.Guard()).status,
              200);
    WebReply index = served.Send(http::verb::get, "/");
    EXPECT_EQ(index.body, "<h1>dscheck</h1>");
    EXPECT_EQ(index.fields["Content-Security-Policy"], "default-src 'self'");
    EXPECT_EQ(index.fields["X-Frame-Options"], "DENY");
    for (const char* target : {"/../../etc/passwd", "/%2e%2e/etc/passwd", "/passwd.html",
                               "/.hidden.html", "//etc/passwd.html", "/index.exe"}) {
        EXPECT_EQ(served.Send(http::verb::get, target).status, 404) << target;
    }
}

TEST_F(Serve, RunsStreamTheirEventsAndStayInTheHistory) {
    EXPECT_EQ(Send(http::verb::get, "/api/test-types").Json()["types"][0],
              ParseJson(R"({"name": "domain_pretest", "inputs": ["password", "delay"],
                            "secrets": ["password"]})"));
    const std::string start = R"({"type": "domain_pretest", "inputs": {"password": "S3cret",
                                  "delay": 1}})";
    std::string run = Run(start);
    ASSERT_FALSE(run.empty());
    std::string stream = Events(run);
    EXPECT_EQ(EventNames(stream),
              (std::vector<std::string>{"stage", "check-started", "check-finished", "check-started",
                                        "check-finished", "report"}));
    Json::Value report = LastEventData(stream);
    EXPECT_EQ(report["status"], "error");
    EXPECT_EQ(report["checks"][1]["params"]["password"], "********");
    EXPECT_EQ(stream.find("S3cret"), std::string::npos);
    EXPECT_EQ(EventNames(Events(run)), std::vector<std::string>{"report"});
    EXPECT_EQ(Send(http::verb::get, "/api/runs/last").Json()["run"], run);
    EXPECT_EQ(Send(http::verb::get, "/api/runs").Json()["runs"][0]["run"], run);
    WebReply recheck =
        Send(http::verb::post, "/api/recheck",
             R"({"run": ")" + run + R"(", "check": "c", "secrets": {"password": "S3cret"}})");
    EXPECT_EQ(recheck.Json()["code"], 1031) << recheck.body;
    EXPECT_EQ(recheck.Json()["params"]["password"], "********");
    struct Request {
        http::verb verb;
        std::string target, body;
        int status;
    };
    for (const Request& request : std::vector<Request>{
             {http::verb::get, "/api/diff?a=" + run + "&b=last", "", 200},
             {http::verb::post, "/api/recheck", R"({"run": ")" + run + R"(", "check": "zz"})", 404},
             {http::verb::get, "/api/runs/nothing", "", 404},
             {http::verb::post, "/api/runs", R"({"type": "domain_pretest", "inputs": {"x": 1}})",
              400},
             {http::verb::post, "/api/runs", R"({"type": "no_such_type"})", 400}}) {
        EXPECT_EQ(Send(request.verb, request.target, request.body).status, request.status)
            << request.target << ' ' << request.body;
    }
}

TEST_F(Serve, OneRunAtATimeCancelAndTerminationCloseTheBracket) {
    const std::string start = R"({"type": "domain_pretest", "inputs": {"delay": 2}})";
    std::string run = Run(start);
    EXPECT_EQ(Send(http::verb::post, "/api/runs", start).status, 409);
    EXPECT_EQ(Send(http::verb::post, "/api/runs/" + run + "/cancel").status, 202);
    EXPECT_EQ(LastEventData(Events(run))["complete"], false);
    EXPECT_FALSE(Sandbox::Exists(kProgressFile));

    sleep(1);  // a new run name
    ASSERT_EQ(Send(http::verb::post, "/api/runs", start).status, 202);
    EXPECT_TRUE(Sandbox::Exists(kProgressFile));
    EXPECT_EQ(server_.Stop(), 0);
    EXPECT_FALSE(Sandbox::Exists(kProgressFile));
}

}  // namespace
