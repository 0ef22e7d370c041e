#include "e2e_testbed_driver.hpp"

#include <json/writer.h>
#include <unistd.h>

#include "call.hpp"
#include "util.hpp"

namespace {

const std::string kTestbed = DSCHECK_SOURCE_DIR "/tests/testbed/testbed";
const std::string kHost = DSCHECK_BINARY_DIR "/dscheck";
const std::string kId = "dv" + std::to_string(getpid() % 100000000);

std::string DCDirectory(const std::string& dc) {
    return "/run/dscheck-testbed-" + kId + "/" + dc;
}

}  // namespace

std::string Bed(std::vector<std::string> args, bool mustSucceed) {
    args.insert(args.begin(), {kTestbed, "--id", kId});
    std::string output;
    int status = -1;
    ExecuteCmd(
        args,
        [&output](std::string line) {
            output += line;
            return false;
        },
        &status, 1, 0);
    if (mustSucceed) {
        EXPECT_EQ(status, 0) << args[3] << ": " << output;
    }
    return output;
}

std::string Exec(const std::vector<std::string>& command, const std::string& node) {
    std::vector<std::string> args = {"exec"};
    if (!node.empty()) args.insert(args.end(), {"--node", node});
    args.insert(args.end(), command.begin(), command.end());
    return Bed(args);
}

Json::Value HostCall(const std::string& api, const std::string& method, const Json::Value& params) {
    Json::StreamWriterBuilder writer;
    writer["indentation"] = "";
    // The host exits 1 for an error answer.
    std::string text = Bed(
        {"exec", kHost, "call", api, method, "--params", Json::writeString(writer, params)}, false);
    size_t start = text.find('{');
    return ParseJson(start == std::string::npos ? text : text.substr(start));
}

std::string ServerFile(const std::string& path) {
    return Exec({"cat", path});
}

void WriteServerFile(const std::string& path, const std::string& content) {
    Exec({"sh", "-c", "mkdir -p \"${1%/*}\" && printf %s \"$2\" > \"$1\"", "sh", path, content});
}

pid_t WinbinddPid() {
    return std::stoi(ServerFile("/run/samba/winbindd.pid"));
}

void SambaTool(const std::string& dc, std::vector<std::string> args) {
    args.insert(args.begin(), "samba-tool");
    args.insert(args.end(), {"-H", DCDirectory(dc) + "/private/sam.ldb"});
    Exec(args, dc);
}

void AddComputer(const std::string& dc, const std::string& name, const std::string& account) {
    Exec({"python3", "-c", R"(import sys
from samba.auth import system_session
from samba.param import LoadParm
from samba.samdb import SamDB
lp = LoadParm()
lp.load(sys.argv[1] + "/etc/smb.conf")
db = SamDB(url=sys.argv[1] + "/private/sam.ldb", session_info=system_session(), lp=lp)
db.add({"dn": "CN=" + sys.argv[2] + ",CN=Users," + str(db.domain_dn()),
        "objectClass": "computer", "sAMAccountName": sys.argv[3]}))",
          DCDirectory(dc), name, account},
         dc);
}

void ChangeBothThenReplicate(const std::function<void()>& onDC2,
                             const std::function<void()>& onDC1) {
    Bed({"dc", "stop", "dc1"});
    onDC2();
    onDC1();
    Bed({"dc", "start", "dc1"});
    Bed({"replicate"});
}

void WaitForController() {
    Exec({"timeout", "90", "sh", "-c", "until wbinfo -P >/dev/null 2>&1; do sleep 1; done"});
}

void JoinedTestbed::SetUp() {
    Bed({"up", "--build", DSCHECK_BINARY_DIR, "--keep", DSCHECK_BINARY_DIR});
    Bed({"dc2", "up"});
    Bed({"join"});
    Bed({"winbind"});
    Bed({"smbd"});
}

void JoinedTestbed::TearDown() {
    Bed({"down"}, false);
}
