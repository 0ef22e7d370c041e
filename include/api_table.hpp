// The module's API table and its entry functions, one per row.
#pragma once

#include "webapi_entry.hpp"

void StartProgress_v1(QARN::APIRequest* request, QARN::APIResponse* response);
void UpdateProgress_v1(QARN::APIRequest* request, QARN::APIResponse* response);
void EndProgress_v1(QARN::APIRequest* request, QARN::APIResponse* response);
void GenerateIssue_v1(QARN::APIRequest* request, QARN::APIResponse* response);
