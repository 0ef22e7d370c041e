#include "api_table.hpp"

#include "check_ldap.hpp"
#include "common_check.hpp"
#include "common_dns.hpp"
#include "debug_handler.hpp"
#include "domain.hpp"
#include "progress.hpp"

namespace {

#define DS_API(family) "QARN.Core.DirectoryServiceCheck." family

// Builds the handler for this request only and runs its one check.
template <typename Handler, void (Handler::*Check)()>
void RunCheck(QARN::APIRequest* request, QARN::APIResponse* response) {
    Handler handler(request, response);
    (handler.*Check)();
}

}  // namespace

void GetStages_v1(QARN::APIRequest* request, QARN::APIResponse* response) {
    RunCheck<CommonCheckHandler, &CommonCheckHandler::GetStages>(request, response);
}

void GetLastTest_v1(QARN::APIRequest* request, QARN::APIResponse* response) {
    RunCheck<CommonCheckHandler, &CommonCheckHandler::GetLastTest>(request, response);
}

void SetLastTest_v1(QARN::APIRequest* request, QARN::APIResponse* response) {
    RunCheck<CommonCheckHandler, &CommonCheckHandler::SetLastTest>(request, response);
}

void TestDNSValid_v1(QARN::APIRequest* request, QARN::APIResponse* response) {
    RunCheck<CommonDnsHandler, &CommonDnsHandler::TestDNSValid>(request, response);
}

void TestDNSRecord_v1(QARN::APIRequest* request, QARN::APIResponse* response) {
    RunCheck<CommonDnsHandler, &CommonDnsHandler::TestDNSRecord>(request, response);
}

void TestSRVTarget_v1(QARN::APIRequest* request, QARN::APIResponse* response) {
    RunCheck<CommonDnsHandler, &CommonDnsHandler::TestSRVTarget>(request, response);
}

void TestSRVTargetPost_v1(QARN::APIRequest* request, QARN::APIResponse* response) {
    RunCheck<CommonDnsHandler, &CommonDnsHandler::TestSRVTargetPost>(request, response);
}

void SetDNS_v1(QARN::APIRequest* request, QARN::APIResponse* response) {
    RunCheck<CommonDnsHandler, &CommonDnsHandler::SetDNS>(request, response);
}

void TestMTU_v1(QARN::APIRequest* request, QARN::APIResponse* response) {
    RunCheck<CommonCheckHandler, &CommonCheckHandler::TestMTU>(request, response);
}

void TestMTU_v2(QARN::APIRequest* request, QARN::APIResponse* response) {
    TestMTU_v1(request, response);
}

void TestPort_v1(QARN::APIRequest* request, QARN::APIResponse* response) {
    RunCheck<CommonCheckHandler, &CommonCheckHandler::TestPort>(request, response);
}

void TestPortByDomain_v1(QARN::APIRequest* request, QARN::APIResponse* response) {
    RunCheck<CommonCheckHandler, &CommonCheckHandler::TestPortByDomain>(request, response);
}

void TestNasIPConflict_v1(QARN::APIRequest* request, QARN::APIResponse* response) {
    RunCheck<CommonCheckHandler, &CommonCheckHandler::TestNasIPConflict>(request, response);
}

void TestIPConflict_v1(QARN::APIRequest* request, QARN::APIResponse* response) {
    RunCheck<CommonCheckHandler, &CommonCheckHandler::TestIPConflict>(request, response);
}

void TestIPConflict_v2(QARN::APIRequest* request, QARN::APIResponse* response) {
    TestIPConflict_v1(request, response);
}

void TestHostnameConflict_v1(QARN::APIRequest* request, QARN::APIResponse* response) {
    RunCheck<CommonCheckHandler, &CommonCheckHandler::TestHostnameConflict>(request, response);
}

void StartProgress_v1(QARN::APIRequest* request, QARN::APIResponse* response) {
    RunCheck<ProgressHandler, &ProgressHandler::InitProgress>(request, response);
}

void UpdateProgress_v1(QARN::APIRequest* request, QARN::APIResponse* response) {
    RunCheck<ProgressHandler, &ProgressHandler::UpdateProgress>(request, response);
}

void EndProgress_v1(QARN::APIRequest* request, QARN::APIResponse* response) {
    RunCheck<ProgressHandler, &ProgressHandler::RemoveProgress>(request, response);
}

void CheckServerAddress_v1(QARN::APIRequest* request, QARN::APIResponse* response) {
    RunCheck<DomainCore, &DomainCore::ServerAddressCheck>(request, response);
}

void PrepareTestIP_v1(QARN::APIRequest* request, QARN::APIResponse* response) {
    RunCheck<DomainCore, &DomainCore::PrepareTestIP>(request, response);
}

void CheckLDAPServerAddress_v1(QARN::APIRequest* request, QARN::APIResponse* response) {
    RunCheck<LDAPTestHandler, &LDAPTestHandler::TestServerAddress>(request, response);
}

void CheckLDAPAuthInfo_v1(QARN::APIRequest* request, QARN::APIResponse* response) {
    RunCheck<LDAPTestHandler, &LDAPTestHandler::TestAuthInfo>(request, response);
}

void CheckLDAPProfile_v1(QARN::APIRequest* request, QARN::APIResponse* response) {
    RunCheck<LDAPTestHandler, &LDAPTestHandler::TestProfile>(request, response);
}

void CheckLDAPUserNameEmpty_v1(QARN::APIRequest* request, QARN::APIResponse* response) {
    RunCheck<LDAPTestHandler, &LDAPTestHandler::TestNameEmpty>(request, response);
}

void CheckLDAPUserNameDup_v1(QARN::APIRequest* request, QARN::APIResponse* response) {
    RunCheck<LDAPTestHandler, &LDAPTestHandler::TestNameDup>(request, response);
}

void CheckLDAPUserIdEmpty_v1(QARN::APIRequest* request, QARN::APIResponse* response) {
    RunCheck<LDAPTestHandler, &LDAPTestHandler::TestIdEmpty>(request, response);
}

void CheckLDAPUserIdType_v1(QARN::APIRequest* request, QARN::APIResponse* response) {
    RunCheck<LDAPTestHandler, &LDAPTestHandler::TestIdType>(request, response);
}

void CheckLDAPUserIdDup_v1(QARN::APIRequest* request, QARN::APIResponse* response) {
    RunCheck<LDAPTestHandler, &LDAPTestHandler::TestIdDup>(request, response);
}

// The group methods run the user ones; the request's "type" tells users from groups.
void CheckLDAPGroupNameEmpty_v1(QARN::APIRequest* request, QARN::APIResponse* response) {
    CheckLDAPUserNameEmpty_v1(request, response);
}

void CheckLDAPGroupNameDup_v1(QARN::APIRequest* request, QARN::APIResponse* response) {
    CheckLDAPUserNameDup_v1(request, response);
}

void CheckLDAPGroupIdEmpty_v1(QARN::APIRequest* request, QARN::APIResponse* response) {
    CheckLDAPUserIdEmpty_v1(request, response);
}

void CheckLDAPGroupIdType_v1(QARN::APIRequest* request, QARN::APIResponse* response) {
    CheckLDAPUserIdType_v1(request, response);
}

void CheckLDAPGroupIdDup_v1(QARN::APIRequest* request, QARN::APIResponse* response) {
    CheckLDAPUserIdDup_v1(request, response);
}

void CheckLDAPSambaSchema_v1(QARN::APIRequest* request, QARN::APIResponse* response) {
    RunCheck<LDAPTestHandler, &LDAPTestHandler::TestSambaSchema>(request, response);
}

void CheckLDAPSambaNTPwd_v1(QARN::APIRequest* request, QARN::APIResponse* response) {
    RunCheck<LDAPTestHandler, &LDAPTestHandler::TestSambaNTPwd>(request, response);
}

void GenerateIssue_v1(QARN::APIRequest* request, QARN::APIResponse* response) {
    RunCheck<DebugHandler, &DebugHandler::GenerateIssue>(request, response);
}

namespace {

const QARN::WebAPIEntry gTable[] = {
    {DS_API("Common"), 1, "get_stages", GetStages_v1},
    {DS_API("Common"), 1, "get_last_test", GetLastTest_v1},
    {DS_API("Common"), 1, "set_last_test", SetLastTest_v1},
    {DS_API("Common"), 1, "test_dns_valid", TestDNSValid_v1},
    {DS_API("Common"), 1, "test_dns_record", TestDNSRecord_v1},
    {DS_API("Common"), 1, "test_srv_target", TestSRVTarget_v1},
    {DS_API("Common"), 1, "test_srv_target_post", TestSRVTargetPost_v1},
    {DS_API("Common"), 1, "set_dns", SetDNS_v1},
    {DS_API("Common"), 1, "test_mtu", TestMTU_v1},
    {DS_API("Common"), 2, "test_mtu", TestMTU_v2},
    {DS_API("Common"), 1, "test_port", TestPort_v1},
    {DS_API("Common"), 1, "test_port_by_domain", TestPortByDomain_v1},
    {DS_API("Common"), 1, "test_nas_ip_conflict", TestNasIPConflict_v1},
    {DS_API("Common"), 1, "test_ip_conflict", TestIPConflict_v1},
    {DS_API("Common"), 2, "test_ip_conflict", TestIPConflict_v2},
    {DS_API("Common"), 1, "test_hostname_conflict", TestHostnameConflict_v1},
    {DS_API("Progress"), 1, "start_progress", StartProgress_v1},
    {DS_API("Progress"), 1, "update_progress", UpdateProgress_v1},
    {DS_API("Progress"), 1, "end_progress", EndProgress_v1},
    {DS_API("Domain"), 1, "check_server_address", CheckServerAddress_v1},
    {DS_API("Domain"), 1, "prepare_test_ip", PrepareTestIP_v1},
    {DS_API("LDAP"), 1, "check_server_address", CheckLDAPServerAddress_v1},
    {DS_API("LDAP"), 1, "check_auth_info", CheckLDAPAuthInfo_v1},
    {DS_API("LDAP"), 1, "check_profile", CheckLDAPProfile_v1},
    {DS_API("LDAP"), 1, "check_user_name_empty", CheckLDAPUserNameEmpty_v1},
    {DS_API("LDAP"), 1, "check_user_name_dup", CheckLDAPUserNameDup_v1},
    {DS_API("LDAP"), 1, "check_user_id_empty", CheckLDAPUserIdEmpty_v1},
    {DS_API("LDAP"), 1, "check_user_id_type", CheckLDAPUserIdType_v1},
    {DS_API("LDAP"), 1, "check_user_id_dup", CheckLDAPUserIdDup_v1},
    {DS_API("LDAP"), 1, "check_group_name_empty", CheckLDAPGroupNameEmpty_v1},
    {DS_API("LDAP"), 1, "check_group_name_dup", CheckLDAPGroupNameDup_v1},
    {DS_API("LDAP"), 1, "check_group_id_empty", CheckLDAPGroupIdEmpty_v1},
    {DS_API("LDAP"), 1, "check_group_id_type", CheckLDAPGroupIdType_v1},
    {DS_API("LDAP"), 1, "check_group_id_dup", CheckLDAPGroupIdDup_v1},
    {DS_API("LDAP"), 1, "check_samba_schema", CheckLDAPSambaSchema_v1},
    {DS_API("LDAP"), 1, "check_samba_ntpwd", CheckLDAPSambaNTPwd_v1},
    {DS_API("Debug"), 1, "generate_issue", GenerateIssue_v1},
    {nullptr, 0, nullptr, nullptr},
};

}  // namespace

extern "C" __attribute__((visibility("default"))) const QARN::WebAPIEntry* GetAPITable() {
    return gTable;
}
