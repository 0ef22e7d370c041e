// A slapd with a generated test directory, started by tests/ldap/slapd_sandbox.sh inside the
// test's sandbox.
#pragma once

#include <json/value.h>

#include <string>
#include <vector>

class Slapd {
  public:
    Slapd() = default;
    ~Slapd();
    Slapd(const Slapd&) = delete;
    Slapd& operator=(const Slapd&) = delete;

    // Starts an instance with the shared certificates and the script's options ("--layout",
    // "plain", ...) in a new directory below /tmp. False when the script failed (its messages
    // are on stderr).
    bool Start(const std::vector<std::string>& options);
    // Stops the instance and removes its directory.
    void Stop();

    // A setting of the instance (LDAP_PORT, BIND_DN, CLIENT_CERT, USERS_COUNT, ...); "" when
    // absent.
    std::string Get(const std::string& key) const;
    // The lines of one of its expectation files (user_id_type, group_name_dup, ...).
    std::vector<std::string> Expect(const std::string& name) const;
    // "HOST:PORT" of the plain and of the LDAPS listener.
    std::string Address() const;
    std::string LDAPSAddress() const;
    // The parameters of a plain LDAP request bound as the directory's bind user.
    Json::Value BindRequest() const;

    // Makes a CA with server and client certificates in dir.
    static bool MakeCertificates(const std::string& dir);
    // The certificates every instance uses, made on first use.
    static const std::string& SharedCertificates();
    // Instances shared by the tests of a process, started on first use and stopped when the
    // process ends. This platform's layout on the standard ports 389 and 636 (only bound clients
    // read entries):
    static const Slapd& Qarn();
    // the plain layout without a sambaDomain entry:
    static const Slapd& Plain();
    // the plain layout, requiring a protected connection ("security ssf=128"):
    static const Slapd& TLSOnly();
    // demanding a client certificate:
    static const Slapd& ClientCert();
    // the plain layout, read anonymously, with 5000 bulk users and 1000 bulk groups:
    static const Slapd& Big();

    // One of the shared instances by name, for cases kept as data: "qarn", "plain", "tls_only",
    // "client_cert" or "big".
    static const Slapd& Named(const std::string& name);

  private:
    static const Slapd& Shared(const std::vector<std::string>& options);

    std::string dir_;
};
