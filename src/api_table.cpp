#include "api_table.hpp"

#include "check_ldap.hpp"
#include "common_check.hpp"
#include "common_dns.hpp"
#include "debug_handler.hpp"
#include "domain.hpp"
#include "domain_join.hpp"
#include "domain_service.hpp"
#include "domain_validation.hpp"
#include "progress.hpp"
#include "tool_argument_guard.hpp"

namespace {

// Builds the handler for this request only and runs its one check, unless a value meant for a
// tool would read as an option.
template <typename Handler, void (Handler::*Check)()>
void RunCheck(const char* family, const char* method, QARN::APIRequest* request,
              QARN::APIResponse* response) {
    if (!ToolArgumentGuard::Admits(family, method, *request, *response)) return;
    Handler handler(request, response);
    (handler.*Check)();
}

}  // namespace

#define DS_HANDLER(family, version, method, entry, Handler, Check)               \
    void entry(QARN::APIRequest* request, QARN::APIResponse* response) {         \
        RunCheck<Handler, &Handler::Check>(#family, #method, request, response); \
    }
#define DS_FORWARD(family, version, method, entry, target)               \
    void entry(QARN::APIRequest* request, QARN::APIResponse* response) { \
        target(request, response);                                       \
    }
#define DS_PLANNED(family, version, method, entry, Handler, Check)
#include "api_rows.def"
#undef DS_HANDLER
#undef DS_FORWARD

namespace {

#define DS_ROW(family, version, method, entry) \
    {"QARN.Core.DirectoryServiceCheck." #family, version, #method, entry},
#define DS_HANDLER(family, version, method, entry, Handler, Check) \
    DS_ROW(family, version, method, entry)
#define DS_FORWARD(family, version, method, entry, target) DS_ROW(family, version, method, entry)

const QARN::WebAPIEntry gTable[] = {
#include "api_rows.def"
    {nullptr, 0, nullptr, nullptr},
};

#undef DS_ROW
#undef DS_HANDLER
#undef DS_FORWARD
#undef DS_PLANNED

}  // namespace

extern "C" __attribute__((visibility("default"))) const QARN::WebAPIEntry* GetAPITable() {
    return gTable;
}
