#include "system_accounts.hpp"

#include <string>

#include "sandbox.hpp"

namespace {

// kAccountPassword, SHA-512 crypt.
const char kHash[] =
    "$6$dscheckSalt$hHnHPjYYtKgs6fjJ5RjL6m7AipsX5/gLjIIFkJ4GUYfBdGlywpd7ZHkUXtsqKKcTXKtWvjVI6vpK6B"
    "OGDv9FI.";

void Append(const std::string& path, const std::string& line, mode_t mode) {
    Sandbox::WriteFile(path, Sandbox::ReadFile(path) + line + "\n", mode);
}

void AddAccount(const std::string& user, int id, const std::string& extraGroup) {
    std::string number = std::to_string(id);
    Append("/etc/passwd", user + ":x:" + number + ":" + number + "::/tmp:/bin/sh", 0644);
    Append("/etc/shadow", user + ":" + kHash + ":19000:0:99999:7:::", 0640);
    Append("/etc/group", user + ":x:" + number + ":", 0644);
    if (!extraGroup.empty()) Append("/etc/group", extraGroup, 0644);
}

}  // namespace

void AddTestAccounts() {
    AddAccount("admin", 1501, "administrators:x:1500:admin");
    AddAccount("plain", 1502, "");
    Sandbox::WriteFile("/etc/pam.d/dscheck",
                       Sandbox::ReadFile(DSCHECK_SOURCE_DIR "/host/pam.d/dscheck"));
}
