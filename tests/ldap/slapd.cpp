#include "slapd.hpp"

#include <stdlib.h>

#include <fstream>
#include <map>
#include <memory>

#include "sandbox.hpp"

#ifndef DSCHECK_SOURCE_DIR
#error "DSCHECK_SOURCE_DIR must name the source tree"
#endif

namespace {

const std::string kScript = DSCHECK_SOURCE_DIR "/tests/ldap/slapd_sandbox.sh";

}  // namespace

Slapd::~Slapd() {
    Stop();
}

bool Slapd::Start(const std::vector<std::string>& options) {
    Stop();
    char dir[] = "/tmp/slapd-XXXXXX";
    if (!mkdtemp(dir)) return false;
    dir_ = dir;
    // Each instance of the process has ports of its own unless the options name them.
    static int nextPort = 20000;
    std::vector<std::string> argv = {"/bin/bash",    kScript,
                                     "start",        dir_,
                                     "--certs",      SharedCertificates(),
                                     "--ldap-port",  std::to_string(nextPort),
                                     "--ldaps-port", std::to_string(nextPort + 1)};
    nextPort += 2;
    argv.insert(argv.end(), options.begin(), options.end());
    if (Sandbox::Run(argv) != 0) {
        Stop();
        return false;
    }
    return true;
}

void Slapd::Stop() {
    if (dir_.empty()) return;
    Sandbox::Run({"/bin/bash", kScript, "stop", dir_});
    Sandbox::Run({"/bin/rm", "-rf", dir_});  // a start that failed early leaves no sandbox
    dir_.clear();
}

std::string Slapd::Get(const std::string& key) const {
    std::ifstream env(dir_ + "/env");
    std::string line;
    while (std::getline(env, line)) {
        if (line.compare(0, key.size() + 1, key + "=") == 0) return line.substr(key.size() + 1);
    }
    return "";
}

std::vector<std::string> Slapd::Expect(const std::string& name) const {
    std::vector<std::string> lines;
    std::ifstream in(Get("EXPECT_DIR") + "/" + name);
    std::string line;
    while (std::getline(in, line)) lines.push_back(line);
    return lines;
}

std::string Slapd::Address() const {
    return Get("HOST") + ":" + Get("LDAP_PORT");
}

std::string Slapd::LDAPSAddress() const {
    return Get("HOST") + ":" + Get("LDAPS_PORT");
}

Json::Value Slapd::BindRequest() const {
    Json::Value params;
    params["server_address"] = Address();
    params["base_dn"] = Get("SUFFIX");
    params["encryption"] = "no";
    params["bind_dn"] = Get("BIND_DN");
    params["bind_pw"] = Get("BIND_PW");
    return params;
}

bool Slapd::MakeCertificates(const std::string& dir) {
    return Sandbox::Run({"/bin/bash", kScript, "certs", dir}) == 0;
}

const std::string& Slapd::SharedCertificates() {
    static const std::string dir = [] {
        std::string path = "/tmp/certs";
        MakeCertificates(path);
        return path;
    }();
    return dir;
}

const Slapd& Slapd::Shared(const std::vector<std::string>& options) {
    static std::map<std::vector<std::string>, std::unique_ptr<Slapd>> instances;
    std::unique_ptr<Slapd>& instance = instances[options];
    if (!instance) {
        instance.reset(new Slapd);
        instance->Start(options);
    }
    return *instance;
}

const Slapd& Slapd::Qarn() {
    return Shared({"--ldap-port", "389", "--ldaps-port", "636"});
}

const Slapd& Slapd::Plain() {
    return Shared({"--layout", "plain", "--no-samba"});
}

const Slapd& Slapd::TLSOnly() {
    return Shared({"--layout", "plain", "--require-tls"});
}

const Slapd& Slapd::ClientCert() {
    return Shared({"--verify-client", "demand"});
}

const Slapd& Slapd::Big() {
    return Shared({"--layout", "plain", "--anon-read", "--users", "5000", "--groups", "1000"});
}

const Slapd& Slapd::Named(const std::string& name) {
    static const std::map<std::string, const Slapd& (*)()> instances = {{"qarn", Qarn},
                                                                        {"plain", Plain},
                                                                        {"tls_only", TLSOnly},
                                                                        {"client_cert", ClientCert},
                                                                        {"big", Big}};
    return instances.at(name)();
}
