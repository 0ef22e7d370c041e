// Checks a system account's password and account through PAM (service "dscheck") and its
// membership of the administrators' group.
#pragma once

#include <mutex>
#include <string>

class PamAuthenticator {
  public:
    enum class Verdict { kAccepted, kBadCredentials, kNotAdministrator };

    static constexpr char kServiceName[] = "dscheck";

    explicit PamAuthenticator(std::string adminGroup) : adminGroup_(std::move(adminGroup)) {}

    Verdict Check(const std::string& user, const std::string& password);

  private:
    bool Authenticate(const std::string& user, const std::string& password);
    bool IsAdministrator(const std::string& user) const;

    std::string adminGroup_;
    std::mutex mutex_;  // PAM modules are not all safe to run in parallel
};
