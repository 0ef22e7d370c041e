// Test support for the LDAP tests: a private view of the machine and slapd instances.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace ldaptest {

// Moves the calling process (call it before any thread starts) into its own mount and network
// namespace: copy-on-write overlays (upper layers on a tmpfs) over /etc, /usr and /var, and an
// own loopback interface, up. Nothing written below those trees reaches the machine; ports are
// the process's own. False with the reason when that is not possible (not root, no overlayfs).
bool EnterSandbox(std::string* why);

// Writes text to path, creating the parent directories. Aborts the test program on failure.
void WriteFile(const std::string& path, const std::string& text);
std::string ReadFile(const std::string& path);
std::vector<std::string> ReadLines(const std::string& path);

// Runs argv (no shell) and returns its exit status; its stdout goes to *out when out is set.
int Run(const std::vector<std::string>& argv, std::string* out = nullptr);

// One slapd started by tests/ldap/slapd_sandbox.sh; stopped (and its directory removed) by
// Stop() or the destructor.
class Slapd {
  public:
    Slapd() = default;
    ~Slapd();
    Slapd(const Slapd&) = delete;
    Slapd& operator=(const Slapd&) = delete;

    // Starts an instance with the script's options ("--layout", "plain", ...). False on failure,
    // with the script's messages in *why.
    bool Start(const std::vector<std::string>& options, std::string* why);
    void Stop();
    bool Running() const { return !dir_.empty(); }

    // A value of the instance's env file (LDAP_PORT, BIND_DN, CA_CERT, ...); "" when absent.
    std::string Get(const std::string& key) const;
    // Lines of an expectation file (EXPECT_DIR/name).
    std::vector<std::string> Expect(const std::string& name) const;
    // "127.0.0.1:PORT" for the plain and the LDAPS port.
    std::string Address() const;
    std::string LDAPSAddress() const;

  private:
    std::string dir_;
    std::map<std::string, std::string> env_;
};

// The path of slapd_sandbox.sh (compiled in).
std::string SandboxScript();

}  // namespace ldaptest
