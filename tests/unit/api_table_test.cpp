#include "api_table.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <tuple>

namespace {

std::vector<const QARN::WebAPIEntry*> Rows() {
    std::vector<const QARN::WebAPIEntry*> rows;
    for (const QARN::WebAPIEntry* row = GetAPITable(); row->api != nullptr; ++row) {
        rows.push_back(row);
    }
    return rows;
}

TEST(APITable, SameAddressOnEveryCall) {
    EXPECT_EQ(GetAPITable(), GetAPITable());
}

TEST(APITable, RowsAreCompleteAndUnique) {
    std::set<std::tuple<std::string, int64_t, std::string>> seen;
    for (const QARN::WebAPIEntry* row : Rows()) {
        ASSERT_NE(row->method, nullptr);
        ASSERT_NE(row->entry, nullptr);
        EXPECT_EQ(std::string(row->api).rfind("QARN.Core.DirectoryServiceCheck.", 0), 0u);
        EXPECT_TRUE(row->version == 1 || row->version == 2);
        EXPECT_TRUE(seen.emplace(row->api, row->version, row->method).second) << row->method;
    }
}

TEST(APITable, ClosedByAnAllZeroRow) {
    std::vector<const QARN::WebAPIEntry*> rows = Rows();
    const QARN::WebAPIEntry& last = GetAPITable()[rows.size()];
    EXPECT_EQ(last.version, 0);
    EXPECT_EQ(last.method, nullptr);
    EXPECT_EQ(last.entry, nullptr);
}

// Family, version and method of every row of the complete table, in its order.
const std::vector<std::tuple<std::string, int64_t, std::string>> kFullTable = {
    {"Common", 1, "get_stages"},
    {"Common", 1, "get_last_test"},
    {"Common", 1, "set_last_test"},
    {"Common", 1, "test_dns_valid"},
    {"Common", 1, "test_dns_record"},
    {"Common", 1, "test_srv_target"},
    {"Common", 1, "test_srv_target_post"},
    {"Common", 1, "set_dns"},
    {"Common", 1, "test_mtu"},
    {"Common", 2, "test_mtu"},
    {"Common", 1, "test_port"},
    {"Common", 1, "test_port_by_domain"},
    {"Common", 1, "test_nas_ip_conflict"},
    {"Common", 1, "test_ip_conflict"},
    {"Common", 2, "test_ip_conflict"},
    {"Common", 1, "test_hostname_conflict"},
    {"Progress", 1, "start_progress"},
    {"Progress", 1, "update_progress"},
    {"Progress", 1, "end_progress"},
    {"Domain", 1, "check_server_address"},
    {"Domain", 1, "prepare_test_ip"},
    {"DomainJoin", 1, "join_domain"},
    {"DomainJoin", 1, "set_join_env"},
    {"DomainJoin", 1, "init_pre_join"},
    {"DomainService", 1, "init_pre_service"},
    {"DomainService", 1, "sync_dc_time"},
    {"DomainService", 1, "test_kinit"},
    {"DomainJoin", 1, "gen_join_conf"},
    {"DomainJoin", 1, "record_smb_gpo"},
    {"DomainService", 1, "check_rodc"},
    {"DomainService", 1, "test_smb_auth"},
    {"DomainService", 1, "test_smb_auth_local"},
    {"DomainService", 1, "test_ldap_auth"},
    {"LDAP", 1, "check_server_address"},
    {"LDAP", 1, "check_auth_info"},
    {"LDAP", 1, "check_profile"},
    {"LDAP", 1, "check_user_name_empty"},
    {"LDAP", 1, "check_user_name_dup"},
    {"LDAP", 1, "check_user_id_empty"},
    {"LDAP", 1, "check_user_id_type"},
    {"LDAP", 1, "check_user_id_dup"},
    {"LDAP", 1, "check_group_name_empty"},
    {"LDAP", 1, "check_group_name_dup"},
    {"LDAP", 1, "check_group_id_empty"},
    {"LDAP", 1, "check_group_id_type"},
    {"LDAP", 1, "check_group_id_dup"},
    {"LDAP", 1, "check_samba_schema"},
    {"LDAP", 1, "check_samba_ntpwd"},
    {"DomainValidation", 1, "check_essential_spn"},
    {"DomainValidation", 1, "check_duplicate_spn"},
    {"DomainService", 1, "check_computer_account"},
    {"DomainValidation", 1, "check_machine_conflict"},
    {"DomainValidation", 1, "check_machine_password"},
    {"DomainValidation", 1, "check_time_sync"},
    {"DomainValidation", 1, "check_winbind_alive"},
    {"DomainValidation", 1, "check_smb_conf"},
    {"DomainValidation", 1, "check_dc_connection"},
    {"DomainValidation", 1, "check_nss"},
    {"Debug", 1, "generate_issue"},
};

TEST(APITable, RowsFollowTheOrderOfTheCompleteTable) {
    ASSERT_EQ(kFullTable.size(), 59u);
    size_t next = 0;
    for (const QARN::WebAPIEntry* row : Rows()) {
        const std::string api = row->api;
        const auto matches = [&](const auto& full) {
            return "QARN.Core.DirectoryServiceCheck." + std::get<0>(full) == api &&
                   std::get<1>(full) == row->version && std::get<2>(full) == row->method;
        };
        auto found = std::find_if(kFullTable.begin() + next, kFullTable.end(), matches);
        ASSERT_NE(found, kFullTable.end()) << api << " " << row->method << " out of order";
        next = static_cast<size_t>(found - kFullTable.begin()) + 1;
    }
}

}  // namespace
