#include "pam_authenticator.hpp"

#include <grp.h>
#include <pwd.h>
#include <security/pam_appl.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

// Answers PAM's hidden prompt with the password; everything else gets no answer.
int Converse(int count, const pam_message** messages, pam_response** responses, void* data) {
    auto* answers = static_cast<pam_response*>(calloc(count, sizeof(pam_response)));
    if (answers == nullptr) return PAM_BUF_ERR;
    for (int i = 0; i < count; ++i) {
        if (messages[i]->msg_style == PAM_PROMPT_ECHO_OFF) {
            answers[i].resp = strdup(static_cast<const char*>(data));
        }
    }
    *responses = answers;
    return PAM_SUCCESS;
}

// The login limiter paces failures; PAM's own delay would only hold a worker thread.
void NoFailDelay(int, unsigned, void*) {}

bool FindGroup(const std::string& name, gid_t& gid) {
    std::vector<char> buffer(16384);
    group entry{};
    group* found = nullptr;
    if (getgrnam_r(name.c_str(), &entry, buffer.data(), buffer.size(), &found) != 0 ||
        found == nullptr) {
        return false;
    }
    gid = found->gr_gid;
    return true;
}

}  // namespace

PamAuthenticator::Verdict PamAuthenticator::Check(const std::string& user,
                                                  const std::string& password) {
    if (!Authenticate(user, password)) return Verdict::kBadCredentials;
    return IsAdministrator(user) ? Verdict::kAccepted : Verdict::kNotAdministrator;
}

bool PamAuthenticator::Authenticate(const std::string& user, const std::string& password) {
    std::lock_guard<std::mutex> lock(mutex_);
    pam_conv conversation{Converse, const_cast<char*>(password.c_str())};
    pam_handle_t* handle = nullptr;
    if (pam_start(kServiceName, user.c_str(), &conversation, &handle) != PAM_SUCCESS) {
        return false;
    }
    pam_set_item(handle, PAM_FAIL_DELAY, reinterpret_cast<const void*>(&NoFailDelay));
    int result = pam_authenticate(handle, PAM_SILENT | PAM_DISALLOW_NULL_AUTHTOK);
    if (result == PAM_SUCCESS) result = pam_acct_mgmt(handle, PAM_SILENT);
    pam_end(handle, result);
    return result == PAM_SUCCESS;
}

bool PamAuthenticator::IsAdministrator(const std::string& user) const {
    gid_t admin = 0;
    if (!FindGroup(adminGroup_, admin)) return false;
    std::vector<char> buffer(16384);
    passwd entry{};
    passwd* found = nullptr;
    if (getpwnam_r(user.c_str(), &entry, buffer.data(), buffer.size(), &found) != 0 ||
        found == nullptr) {
        return false;
    }
    int count = 64;
    std::vector<gid_t> groups(count);
    while (getgrouplist(user.c_str(), found->pw_gid, groups.data(), &count) < 0) {
        groups.resize(static_cast<size_t>(count));
    }
    groups.resize(static_cast<size_t>(count));
    return std::find(groups.begin(), groups.end(), admin) != groups.end();
}
