// A test bed of the test program's own, driven from outside: the server's view, its controllers,
// and the host's answers inside the view.
#pragma once

#include <gtest/gtest.h>
#include <json/value.h>
#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

// Runs the test bed command; its output (stdout and stderr).
std::string Bed(std::vector<std::string> args, bool mustSucceed = true);

// Runs a command in the server's view, or in a DC's when node names one.
std::string Exec(const std::vector<std::string>& command, const std::string& node = "");

// The host's answer to one method of an API, run in the server's view.
Json::Value HostCall(const std::string& api, const std::string& method, const Json::Value& params);

std::string ServerFile(const std::string& path);
void WriteServerFile(const std::string& path, const std::string& content);
pid_t WinbinddPid();

// samba-tool with args on the DC's own database.
void SambaTool(const std::string& dc, std::vector<std::string> args);
// A computer object CN=name in CN=Users of the DC's database.
void AddComputer(const std::string& dc, const std::string& name, const std::string& account);

// Changes made on both DCs that must not reach each other before the replication: dc1 is
// stopped meanwhile (DCs notify each other of changes within seconds) and changed offline.
void ChangeBothThenReplicate(const std::function<void()>& onDC2,
                             const std::function<void()>& onDC1);

// Waits until winbind reaches a controller (it needs about half a minute to give up on a
// stopped one).
void WaitForController();

// Two DCs and the server joined, with winbind and smbd running; torn down after the tests.
class JoinedTestbed : public testing::Environment {
  public:
    void SetUp() override;
    void TearDown() override;
};
