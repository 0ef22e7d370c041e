#include "sid.hpp"

const std::string DomainValidationHandler::SID::strEveryone_ = "*S-1-1-0";
const std::string DomainValidationHandler::SID::strPreWindows2000_ = "*S-1-5-32-554";
const std::string DomainValidationHandler::SID::strAuthenticatedUsers_ = "*S-1-5-11";
const std::string DomainValidationHandler::SID::strDomainComputersPostfix_ = "-515";

bool DomainValidationHandler::SID::IsEveryone() const {
    return m_sid == strEveryone_;
}

bool DomainValidationHandler::SID::IsPreWindows2000() const {
    return m_sid == strPreWindows2000_;
}

bool DomainValidationHandler::SID::IsAuthenticatedUsers() const {
    return m_sid == strAuthenticatedUsers_;
}

bool DomainValidationHandler::SID::IsDomainComputers(std::string sid) const {
    return m_sid == sid;
}
