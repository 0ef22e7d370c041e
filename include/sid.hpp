// One security identifier as the directory checks hold it: "*" and the textual SID.
#pragma once

#include <string>
#include <utility>

#include "domain_validation.hpp"

class DomainValidationHandler::SID {
  public:
    static const std::string strEveryone_;
    static const std::string strPreWindows2000_;
    static const std::string strAuthenticatedUsers_;
    // Relative identifier of a domain's Domain Computers group, appended to the domain's SID.
    static const std::string strDomainComputersPostfix_;

    explicit SID(std::string sid) : m_sid(std::move(sid)) {}

    const std::string& Get() const { return m_sid; }
    bool IsEveryone() const;
    bool IsPreWindows2000() const;
    bool IsAuthenticatedUsers() const;
    // sid is a domain's SID followed by strDomainComputersPostfix_.
    bool IsDomainComputers(std::string sid) const;

  private:
    std::string m_sid;
};
