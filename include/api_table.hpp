// The module's API table and its entry functions, one per row.
#pragma once

#include "webapi_entry.hpp"

void GetStages_v1(QARN::APIRequest* request, QARN::APIResponse* response);
void GetLastTest_v1(QARN::APIRequest* request, QARN::APIResponse* response);
void SetLastTest_v1(QARN::APIRequest* request, QARN::APIResponse* response);
void TestDNSValid_v1(QARN::APIRequest* request, QARN::APIResponse* response);
void TestDNSRecord_v1(QARN::APIRequest* request, QARN::APIResponse* response);
void TestSRVTarget_v1(QARN::APIRequest* request, QARN::APIResponse* response);
void TestSRVTargetPost_v1(QARN::APIRequest* request, QARN::APIResponse* response);
void SetDNS_v1(QARN::APIRequest* request, QARN::APIResponse* response);
void TestMTU_v1(QARN::APIRequest* request, QARN::APIResponse* response);
void TestMTU_v2(QARN::APIRequest* request, QARN::APIResponse* response);
void TestPort_v1(QARN::APIRequest* request, QARN::APIResponse* response);
void TestPortByDomain_v1(QARN::APIRequest* request, QARN::APIResponse* response);
void TestNasIPConflict_v1(QARN::APIRequest* request, QARN::APIResponse* response);
void TestIPConflict_v1(QARN::APIRequest* request, QARN::APIResponse* response);
void TestIPConflict_v2(QARN::APIRequest* request, QARN::APIResponse* response);
void TestHostnameConflict_v1(QARN::APIRequest* request, QARN::APIResponse* response);
void StartProgress_v1(QARN::APIRequest* request, QARN::APIResponse* response);
void UpdateProgress_v1(QARN::APIRequest* request, QARN::APIResponse* response);
void EndProgress_v1(QARN::APIRequest* request, QARN::APIResponse* response);
void CheckServerAddress_v1(QARN::APIRequest* request, QARN::APIResponse* response);
void PrepareTestIP_v1(QARN::APIRequest* request, QARN::APIResponse* response);
void CheckLDAPServerAddress_v1(QARN::APIRequest* request, QARN::APIResponse* response);
void CheckLDAPAuthInfo_v1(QARN::APIRequest* request, QARN::APIResponse* response);
void CheckLDAPProfile_v1(QARN::APIRequest* request, QARN::APIResponse* response);
void CheckLDAPUserNameEmpty_v1(QARN::APIRequest* request, QARN::APIResponse* response);
void CheckLDAPUserNameDup_v1(QARN::APIRequest* request, QARN::APIResponse* response);
void CheckLDAPUserIdEmpty_v1(QARN::APIRequest* request, QARN::APIResponse* response);
void CheckLDAPUserIdType_v1(QARN::APIRequest* request, QARN::APIResponse* response);
void CheckLDAPUserIdDup_v1(QARN::APIRequest* request, QARN::APIResponse* response);
void CheckLDAPGroupNameEmpty_v1(QARN::APIRequest* request, QARN::APIResponse* response);
void CheckLDAPGroupNameDup_v1(QARN::APIRequest* request, QARN::APIResponse* response);
void CheckLDAPGroupIdEmpty_v1(QARN::APIRequest* request, QARN::APIResponse* response);
void CheckLDAPGroupIdType_v1(QARN::APIRequest* request, QARN::APIResponse* response);
void CheckLDAPGroupIdDup_v1(QARN::APIRequest* request, QARN::APIResponse* response);
void CheckLDAPSambaSchema_v1(QARN::APIRequest* request, QARN::APIResponse* response);
void CheckLDAPSambaNTPwd_v1(QARN::APIRequest* request, QARN::APIResponse* response);
void GenerateIssue_v1(QARN::APIRequest* request, QARN::APIResponse* response);
