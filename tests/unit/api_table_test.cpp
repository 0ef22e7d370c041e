#include "api_table.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

struct FullRow {
    std::string family;
    int64_t version;
    std::string method;
    QARN::APIEntryFunction entry;  // null: its handler is not built yet
};

// Family, version, method and entry of every row of the complete table, in its order.
const std::vector<FullRow> kFullTable = {
    {"Common", 1, "get_stages", GetStages_v1},
    {"Common", 1, "get_last_test", GetLastTest_v1},
    {"Common", 1, "set_last_test", SetLastTest_v1},
    {"Common", 1, "test_dns_valid", TestDNSValid_v1},
    {"Common", 1, "test_dns_record", TestDNSRecord_v1},
    {"Common", 1, "test_srv_target", TestSRVTarget_v1},
    {"Common", 1, "test_srv_target_post", TestSRVTargetPost_v1},
    {"Common", 1, "set_dns", SetDNS_v1},
    {"Common", 1, "test_mtu", TestMTU_v1},
    {"Common", 2, "test_mtu", TestMTU_v2},
    {"Common", 1, "test_port", TestPort_v1},
    {"Common", 1, "test_port_by_domain", TestPortByDomain_v1},
    {"Common", 1, "test_nas_ip_conflict", TestNasIPConflict_v1},
    {"Common", 1, "test_ip_conflict", TestIPConflict_v1},
    {"Common", 2, "test_ip_conflict", TestIPConflict_v2},
    {"Common", 1, "test_hostname_conflict", TestHostnameConflict_v1},
    {"Progress", 1, "start_progress", StartProgress_v1},
    {"Progress", 1, "update_progress", UpdateProgress_v1},
    {"Progress", 1, "end_progress", EndProgress_v1},
    {"Domain", 1, "check_server_address", CheckServerAddress_v1},
    {"Domain", 1, "prepare_test_ip", PrepareTestIP_v1},
    {"DomainJoin", 1, "join_domain", nullptr},
    {"DomainJoin", 1, "set_join_env", nullptr},
    {"DomainJoin", 1, "init_pre_join", nullptr},
    {"DomainService", 1, "init_pre_service", nullptr},
    {"DomainService", 1, "sync_dc_time", nullptr},
    {"DomainService", 1, "test_kinit", nullptr},
    {"DomainJoin", 1, "gen_join_conf", nullptr},
    {"DomainJoin", 1, "record_smb_gpo", nullptr},
    {"DomainService", 1, "check_rodc", nullptr},
    {"DomainService", 1, "test_smb_auth", nullptr},
    {"DomainService", 1, "test_smb_auth_local", nullptr},
    {"DomainService", 1, "test_ldap_auth", nullptr},
    {"LDAP", 1, "check_server_address", CheckLDAPServerAddress_v1},
    {"LDAP", 1, "check_auth_info", CheckLDAPAuthInfo_v1},
    {"LDAP", 1, "check_profile", CheckLDAPProfile_v1},
    {"LDAP", 1, "check_user_name_empty", CheckLDAPUserNameEmpty_v1},
    {"LDAP", 1, "check_user_name_dup", CheckLDAPUserNameDup_v1},
    {"LDAP", 1, "check_user_id_empty", CheckLDAPUserIdEmpty_v1},
    {"LDAP", 1, "check_user_id_type", CheckLDAPUserIdType_v1},
    {"LDAP", 1, "check_user_id_dup", CheckLDAPUserIdDup_v1},
    {"LDAP", 1, "check_group_name_empty", CheckLDAPGroupNameEmpty_v1},
    {"LDAP", 1, "check_group_name_dup", CheckLDAPGroupNameDup_v1},
    {"LDAP", 1, "check_group_id_empty", CheckLDAPGroupIdEmpty_v1},
    {"LDAP", 1, "check_group_id_type", CheckLDAPGroupIdType_v1},
    {"LDAP", 1, "check_group_id_dup", CheckLDAPGroupIdDup_v1},
    {"LDAP", 1, "check_samba_schema", CheckLDAPSambaSchema_v1},
    {"LDAP", 1, "check_samba_ntpwd", CheckLDAPSambaNTPwd_v1},
    {"DomainValidation", 1, "check_essential_spn", nullptr},
    {"DomainValidation", 1, "check_duplicate_spn", nullptr},
    {"DomainService", 1, "check_computer_account", nullptr},
    {"DomainValidation", 1, "check_machine_conflict", nullptr},
    {"DomainValidation", 1, "check_machine_password", nullptr},
    {"DomainValidation", 1, "check_time_sync", nullptr},
    {"DomainValidation", 1, "check_winbind_alive", nullptr},
    {"DomainValidation", 1, "check_smb_conf", nullptr},
    {"DomainValidation", 1, "check_dc_connection", nullptr},
    {"DomainValidation", 1, "check_nss", nullptr},
    {"Debug", 1, "generate_issue", GenerateIssue_v1},
};

TEST(APITable, RowsFollowTheCompleteTableAndEndWithAZeroRow) {
    ASSERT_EQ(kFullTable.size(), 59u);
    ASSERT_EQ(GetAPITable(), GetAPITable());
    const QARN::WebAPIEntry* row = GetAPITable();
    for (auto next = kFullTable.begin(); row->api != nullptr; ++row, ++next) {
        const std::string api = row->api;
        next = std::find_if(next, kFullTable.end(), [&](const FullRow& full) {
            return "QARN.Core.DirectoryServiceCheck." + full.family == api &&
                   full.version == row->version && full.method == row->method;
        });
        ASSERT_NE(next, kFullTable.end()) << api << " " << row->method << " out of order";
        EXPECT_EQ(row->entry, next->entry) << row->method;
    }
    EXPECT_EQ(row->version, 0);
    EXPECT_EQ(row->method, nullptr);
    EXPECT_EQ(row->entry, nullptr);
}

}  // namespace
