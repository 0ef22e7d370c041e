// The module's API table and its entry functions, one per built row of api_rows.def.
#pragma once

#include "webapi_entry.hpp"

#define DS_ENTRY_DECLARATION(entry) \
    void entry(QARN::APIRequest* request, QARN::APIResponse* response);
#define DS_HANDLER(family, version, method, entry, Handler, Check) DS_ENTRY_DECLARATION(entry)
#define DS_FORWARD(family, version, method, entry, target) DS_ENTRY_DECLARATION(entry)
#define DS_PLANNED(family, version, method, entry, Handler, Check)
#include "api_rows.def"
#undef DS_PLANNED
#undef DS_FORWARD
#undef DS_HANDLER
#undef DS_ENTRY_DECLARATION
