// A DomainCore with its collector and answer data in reach of the tests.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "abstract_check_handler.hpp"
#include "api_request.hpp"
#include "api_response.hpp"
#include "domain.hpp"
#include "help_links.hpp"
#include "sandbox.hpp"

class DomainProbe : public DomainCore {
  public:
    using DomainCore::DomainCore;
    using DomainCore::m_domainError;
    Json::Value& Data() { return m_data; }
};

// A request and the probe built on it.
struct DomainFixture {
    explicit DomainFixture(const Json::Value& params = Json::Value(Json::objectValue))
        : request("QARN.Core.DirectoryServiceCheck.Domain", "m", 1, params, "admin", "127.0.0.1"),
          probe(&request, &response) {}

    QARN::APIRequest request;
    QARN::APIResponse response;
    DomainProbe probe;
};

// Joined status as Samba's configuration states it.
inline void SetSecurity(const std::string& security, const std::string& more = "") {
    Sandbox::WriteFile("/etc/samba/smb.conf", "[global]\n\tsecurity = " + security + "\n" + more);
}

// An empty text expects nothing.
inline void ExpectLogged(const char* text) {
    if (text[0] != '\0') {
        EXPECT_TRUE(Sandbox::Logged(text)) << text;
    }
}

// Names the instances of a table-driven suite after their rows' "name".
struct RowName {
    template <class Row>
    std::string operator()(const testing::TestParamInfo<Row>& info) const {
        return info.param.name;
    }
};
