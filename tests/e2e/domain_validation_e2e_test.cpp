// Validation of a joined server against the test bed's real domain controllers: one test bed for
// the suite (two DCs, the server joined with winbind and smbd running); the checks run through
// the host in the server's view while the tests change the domain around it. The tests run in
// order: each leaves the domain as it found it, except the last, which resets the machine
// password.
#include <gtest/gtest.h>
#include <json/reader.h>
#include <json/writer.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <memory>
#include <thread>

#include "abstract_check_handler.hpp"
#include "testbed_env.hpp"
#include "util.hpp"

namespace {

const std::string kTestbed = DSCHECK_SOURCE_DIR "/tests/testbed/testbed";
const std::string kHost = DSCHECK_BINARY_DIR "/dscheck";
const std::string kId = "dv" + std::to_string(getpid() % 100000000);
const char kApi[] = "QARN.Core.DirectoryServiceCheck.DomainValidation";
const Json::Value kNull;
Testbed gBed;

// Runs the test bed command; its output (stdout and stderr).
std::string Bed(std::vector<std::string> args, bool mustSucceed = true) {
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

std::string InServer(const std::vector<std::string>& command) {
    std::vector<std::string> args = {"exec"};
    args.insert(args.end(), command.begin(), command.end());
    return Bed(args);
}

std::string OnDC(const std::string& dc, const std::vector<std::string>& command) {
    std::vector<std::string> args = {"exec", "--node", dc};
    args.insert(args.end(), command.begin(), command.end());
    return Bed(args);
}

Json::Value ParseJson(const std::string& text) {
    Json::CharReaderBuilder builder;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value value;
    std::string errors;
    size_t start = text.find('{');
    if (start == std::string::npos ||
        !reader->parse(text.data() + start, text.data() + text.size(), &value, &errors)) {
        ADD_FAILURE() << "no JSON answer: " << text;
    }
    return value;
}

// The host's answer to one method of the API.
Json::Value Call(const std::string& method, const Json::Value& params = Json::objectValue) {
    Json::StreamWriterBuilder writer;
    writer["indentation"] = "";
    return ParseJson(
        InServer({kHost, "call", kApi, method, "--params", Json::writeString(writer, params)}));
}

Json::Value Success() {
    return ParseJson(R"({"success": true, "data": null})");
}

// An error answer: the code, info (plus the code's help links), "isPlural" and "level".
Json::Value Failure(int code, Json::Value info, bool plural, int level) {
    auto links = kHelpLinks.find(static_cast<ErrorCode>(code));
    if (links != kHelpLinks.end()) {
        for (const auto& [key, link] : links->second) info[key] = link;
    }
    Json::Value reply;
    reply["success"] = false;
    reply["error"]["code"] = code;
    Json::Value& details = reply["error"]["details"];
    if (!info.empty()) details["info"] = info;
    details["isPlural"] = plural;
    details["level"] = level;
    return reply;
}

Json::Value Info(const std::string& key, const Json::Value& value) {
    Json::Value info;
    info[key] = value;
    return info;
}

Json::Value Strings(std::initializer_list<std::string> texts) {
    Json::Value array(Json::arrayValue);
    for (const std::string& text : texts) array.append(text);
    return array;
}

void ExpectReply(const std::string& method, const Json::Value& expected,
                 const Json::Value& params = Json::objectValue) {
    Json::Value reply = Call(method, params);
    EXPECT_EQ(reply, expected) << method << "\n" << reply.toStyledString();
}

class TestbedRun : public testing::Environment {
  public:
    void SetUp() override {
        Bed({"up", "--build", DSCHECK_BINARY_DIR, "--keep", DSCHECK_BINARY_DIR});
        Bed({"dc2", "up"});
        Bed({"join"});
        Bed({"winbind"});
        Bed({"smbd"});
        std::ifstream env("/run/dscheck-testbed-" + kId + "/env");
        for (std::string line; std::getline(env, line);) {
            size_t equals = line.find('=');
            if (equals != std::string::npos)
                setenv(line.substr(0, equals).c_str(), line.substr(equals + 1).c_str(), 1);
        }
        gBed = Testbed();
    }
    void TearDown() override { Bed({"down"}, false); }
};

std::string ServerFile(const std::string& path) {
    return InServer({"cat", path});
}

void WriteServerFile(const std::string& path, const std::string& content) {
    InServer({"/usr/bin/python3", "-c", "import sys; open(sys.argv[1], 'w').write(sys.argv[2])",
              path, content});
}

std::string DCDirectory(const std::string& dc) {
    return "/run/dscheck-testbed-" + kId + "/" + dc;
}

std::string SamLdb(const std::string& dc) {
    return DCDirectory(dc) + "/private/sam.ldb";
}

const std::string kBase = "DC=EXAMPLE,DC=TEST";

pid_t WinbinddPid() {
    return std::stoi(ServerFile("/run/samba/winbindd.pid"));
}

TEST(Joined, HealthyMembership) {
    for (const char* method :
         {"check_winbind_alive", "check_dc_connection", "check_nss", "check_time_sync",
          "check_essential_spn", "check_machine_conflict", "check_machine_password"}) {
        ExpectReply(method, Success());
    }
}

TEST(Joined, WinbindKilledIsRestartedByTheCheck) {
    ASSERT_EQ(kill(WinbinddPid(), SIGKILL), 0);
    ExpectReply("check_winbind_alive", Success());
    EXPECT_NE(ServerFile("/run/samba/winbindd.pid"), "");
}

TEST(Joined, WinbindServiceDisabled) {
    InServer({"systemctl", "disable", "winbind"});
    ExpectReply("check_winbind_alive", Failure(1085, Json::objectValue, false, 0));
    InServer({"systemctl", "enable", "winbind"});
}

TEST(Joined, ControllerConnection) {
    Bed({"dc", "stop", "dc1"});
    ExpectReply("check_dc_connection", Success());
    Bed({"dc", "stop", "dc2"});
    ExpectReply("check_dc_connection", Failure(1121, Json::objectValue, false, 0));
    Bed({"dc", "start", "dc1"});
    Bed({"dc", "start", "dc2"});
    ExpectReply("check_dc_connection", Success());
}

TEST(Joined, NameServiceWithoutWinbind) {
    const std::string nsswitch = ServerFile("/etc/nsswitch.conf");
    InServer({"sed", "-i", "-E", "s/^(passwd|group):.*/\\1: files/", "/etc/nsswitch.conf"});
    ExpectReply("check_nss", Failure(1089, Json::objectValue, false, 0));
    WriteServerFile("/etc/nsswitch.conf", nsswitch);
    ExpectReply("check_nss", Success());
}

TEST(Joined, MachinePasswordWithOneControllerStopped) {
    Bed({"dc", "stop", "dc2"});
    ExpectReply(
        "check_machine_password",
        Failure(1120, Info("ip", gBed.dc2.empty() ? "192.0.2.11" : "192.0.2.11"), false, 1));
    Bed({"dc", "start", "dc2"});
}

TEST(Joined, EssentialPrincipalNameRemoved) {
    const std::string spn = "HOST/" + gBed.hostname + "." + gBed.dnsDomain;
    OnDC("dc1", {"samba-tool", "spn", "delete", spn, "NAS01$", "-H", SamLdb("dc1")});
    Bed({"replicate"});
    ExpectReply("check_essential_spn",
                Failure(1075, Info("missingSPN", Strings({"host/nas01." + gBed.realm})), false, 1));
    OnDC("dc1", {"samba-tool", "spn", "add", spn, "NAS01$", "-H", SamLdb("dc1")});
    Bed({"replicate"});
    ExpectReply("check_essential_spn", Success());
}

TEST(Joined, SMBConfigurationAfterTheJoin) {
    const std::string settings = ServerFile("/etc/samba/smb.conf");
    ExpectReply(
        "check_smb_conf",
        Failure(1090, Info("badValue", "idmap backend, passdb backend, printing"), true, 0));
    InServer({"sed", "-i", "-e", "s/^\\s*printing = .*/\\tprinting = cups/", "-e",
              "/^\\[global\\]/a\\\\tpassdb backend = smbpasswd", "/etc/samba/smb.conf"});
    ExpectReply("check_smb_conf", Failure(1090, Info("badValue", "idmap backend"), false, 0));
    WriteServerFile("/etc/samba/smb.join.conf", "realm = OTHER.TEST\nworkgroup = EXAMPLE\n");
    ExpectReply("check_smb_conf", Failure(1090, Info("badValue", "idmap backend, realm"), true, 0));
    InServer({"rm", "-f", "/etc/samba/smb.join.conf"});
    WriteServerFile("/etc/samba/smb.conf", settings);
}

}  // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    testing::AddGlobalTestEnvironment(new TestbedRun);
    return RUN_ALL_TESTS();
}
