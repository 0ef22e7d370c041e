// Validation of a joined server against the test bed's real domain controllers: one test bed for
// the suite (two DCs, the server joined with winbind and smbd running); the checks run through
// the host in the server's view while the tests change the domain around it. The tests run in
// order: each leaves the domain as it found it, except the last, which resets the machine
// password.
#include <gtest/gtest.h>
#include <signal.h>

#include "call.hpp"
#include "domain_probe.hpp"
#include "e2e_testbed.hpp"
#include "e2e_testbed_driver.hpp"

namespace {

const Testbed gBed;
testing::Environment* const gJoined = testing::AddGlobalTestEnvironment(new JoinedTestbed);
const Json::Value kSuccess = ParseJson(R"({"success": true, "data": null})");

// An error answer: the code and its details, info {key: value} when key names one.
Json::Value Failure(int code, bool plural, int level, const std::string& key = "",
                    const Json::Value& value = Json::Value()) {
    Json::Value info(Json::objectValue);
    if (!key.empty()) info[key] = value;
    Json::Value reply;
    reply["success"] = false;
    reply["error"]["code"] = code;
    reply["error"]["details"] = ErrorDetails(code, plural, level, info);
    return reply;
}

void ExpectReply(const std::string& method, const Json::Value& expected,
                 const Json::Value& params = Json::objectValue) {
    Json::Value reply =
        HostCall("QARN.Core.DirectoryServiceCheck.DomainValidation", method, params);
    EXPECT_EQ(reply, expected) << method << "\n" << reply.toStyledString();
}

const Json::Value kBothDCs = ParseJson(R"({"dc_ips": "192.0.2.10,192.0.2.11"})");

TEST(Joined, HealthyMembership) {
    for (const char* method :
         {"check_winbind_alive", "check_dc_connection", "check_nss", "check_time_sync",
          "check_essential_spn", "check_machine_conflict"}) {
        ExpectReply(method, kSuccess);
    }
    ExpectReply("check_machine_password", kSuccess, kBothDCs);
    // The join listed the domain itself in the trust file.
    ExpectReply("check_duplicate_spn", kSuccess);
}

// A winbindd killed, and one that does not answer: the check's restart replaces it (the service
// manager kills what ignores SIGTERM).
TEST(Joined, WinbindGoneOrStuckIsRestartedByTheCheck) {
    for (int signal : {SIGKILL, SIGSTOP}) {
        pid_t old = WinbinddPid();
        ASSERT_EQ(kill(old, signal), 0);
        ExpectReply("check_winbind_alive", kSuccess);
        EXPECT_NE(WinbinddPid(), old) << signal;
    }
}

TEST(Joined, WinbindServiceDisabled) {
    Exec({"systemctl", "disable", "winbind"});
    ExpectReply("check_winbind_alive", Failure(1085, false, 0));
    Exec({"systemctl", "enable", "winbind"});
}

TEST(Joined, ControllerConnection) {
    Bed({"dc", "stop", "dc1"});
    WaitForController();
    ExpectReply("check_dc_connection", kSuccess);
    Bed({"dc", "stop", "dc2"});
    Exec({"systemctl", "restart", "winbind"});
    ExpectReply("check_dc_connection", Failure(1108, false, 0));
    Bed({"dc", "start", "dc1"});
    Bed({"dc", "start", "dc2"});
    WaitForController();
}

TEST(Joined, NameServiceWithoutWinbind) {
    const std::string nsswitch = ServerFile("/etc/nsswitch.conf");
    Exec({"sed", "-i", "-E", "s/^(passwd|group):.*/\\1: files/", "/etc/nsswitch.conf"});
    ExpectReply("check_nss", Failure(1089, false, 0));
    WriteServerFile("/etc/nsswitch.conf", nsswitch);
}

// Five minutes is the limit: only the controller beyond it is named.
TEST(Joined, ControllerClockOff) {
    Bed({"dc", "skew", "dc2", "360"});
    ExpectReply("check_time_sync", Failure(1082, false, 1, "ips", StringArray({"192.0.2.11"})),
                kBothDCs);
    Bed({"dc", "skew", "dc2", "240"});
    ExpectReply("check_time_sync", kSuccess, kBothDCs);
    Bed({"dc", "skew", "dc2", "0"});
}

TEST(Joined, MachinePasswordWithOneControllerStopped) {
    Bed({"dc", "stop", "dc2"});
    ExpectReply("check_machine_password", Failure(1120, false, 1, "ip", "192.0.2.11"), kBothDCs);
    Bed({"dc", "start", "dc2"});
}

TEST(Joined, EssentialPrincipalNameRemoved) {
    const std::string longName = "HOST/NAS01." + gBed.dnsDomain;
    SambaTool("dc1", {"spn", "delete", longName, "NAS01$"});
    Bed({"replicate"});
    ExpectReply(
        "check_essential_spn",
        Failure(1075, false, 1, "missingSPN", StringArray({("host/nas01." + gBed.realm).c_str()})));
    SambaTool("dc1", {"spn", "add", longName, "NAS01$"});
}

// The server's host name on another object: the DCs refuse a second holder, so dc2 gives it to
// alice after taking it from the computer, while the offline dc1 writes the computer's names
// anew; the replication keeps dc1's newer names and alice's.
TEST(Joined, DuplicatePrincipalName) {
    ChangeBothThenReplicate(
        [] {
            SambaTool("dc2", {"spn", "delete", "HOST/NAS01", "NAS01$"});
            SambaTool("dc2", {"spn", "add", "host/nas01", "alice"});
        },
        [] {
            SambaTool("dc1", {"spn", "delete", "HOST/NAS01", "NAS01$"});
            SambaTool("dc1", {"spn", "add", "HOST/NAS01", "NAS01$"});
        });
    ExpectReply("check_duplicate_spn",
                Failure(1074, false, 1, "duplicate_spn_domain", StringArray({gBed.realm.c_str()})));
    SambaTool("dc1", {"spn", "delete", "host/nas01", "alice"});
    Bed({"replicate"});
}

TEST(Joined, MachineAccountConflict) {
    ChangeBothThenReplicate([] { AddComputer("dc2", "NAS01", "NAS01B$"); },
                            [] { AddComputer("dc1", "NAS01", "NAS01A$"); });
    ExpectReply("check_machine_conflict", Failure(1080, false, 0, "hostname", gBed.hostname));
}

TEST(Joined, SMBConfigurationAfterTheJoin) {
    const std::string settings = ServerFile("/etc/samba/smb.conf");
    ExpectReply("check_smb_conf",
                Failure(1090, true, 0, "badValue", "idmap backend, passdb backend, printing"));
    Exec({"sed", "-i", "-e", "s/^\\s*printing = .*/\\tprinting = cups/", "-e",
          "/^\\[global\\]/a\\\\tpassdb backend = smbpasswd", "/etc/samba/smb.conf"});
    ExpectReply("check_smb_conf", Failure(1090, false, 0, "badValue", "idmap backend"));
    WriteServerFile("/etc/samba/smb.join.conf", "realm = OTHER.TEST\nworkgroup = EXAMPLE\n");
    ExpectReply("check_smb_conf", Failure(1090, true, 0, "badValue", "idmap backend, realm"));
    Exec({"rm", "-f", "/etc/samba/smb.join.conf"});
    WriteServerFile("/etc/samba/smb.conf", settings);
}

// Last: the server's machine password no longer works. The KDC still takes the previous
// password, so it is reset twice.
TEST(Joined, MachinePasswordResetOnTheController) {
    for (const char* password : {"Mach1ne-Reset.1", "Mach1ne-Reset.2"}) {
        SambaTool("dc1",
                  {"user", "setpassword", "NAS01$", std::string("--newpassword=") + password});
    }
    Bed({"replicate"});
    ExpectReply("check_machine_password",
                Failure(1037, true, 0, "ips", StringArray({"192.0.2.10", "192.0.2.11"})), kBothDCs);
}

}  // namespace
