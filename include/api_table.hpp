// The module's API table and its entry functions, one per row.
#pragma once

#include "webapi_entry.hpp"

void StartProgress_v1(QARN::APIRequest* request, QARN::APIResponse* response);
void UpdateProgress_v1(QARN::APIRequest* request, QARN::APIResponse* response);
void EndProgress_v1(QARN::APIRequest* request, QARN::APIResponse* response);
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
