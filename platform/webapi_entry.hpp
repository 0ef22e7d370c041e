// One row of a module's API table as the web-API host reads it (32 bytes, rows contiguous,
// closed by an all-zero row).
#pragma once

#include <cstdint>

#include "api_request.hpp"
#include "api_response.hpp"

namespace QARN {

using APIEntryFunction = void (*)(APIRequest*, APIResponse*);

struct WebAPIEntry {
    const char* api;
    int64_t version;
    const char* method;
    APIEntryFunction entry;
};
static_assert(sizeof(WebAPIEntry) == 32, "the host reads 32-byte rows");

}  // namespace QARN

// The module's exported table look-up.
extern "C" const QARN::WebAPIEntry* GetAPITable();
using GetAPITableFunction = const QARN::WebAPIEntry* (*)();
