// Domain membership as Samba's configuration states it.
#include <strings.h>

#include "platform_paths.hpp"
#include "qarn.h"

namespace {

bool SmbConfValueIs(const char* key, const char* expected) {
    char value[64];
    return QLIBCFileGetKeyValue(platform::kSmbConfFile, key, value, sizeof(value), 0) > 0 &&
           strcasecmp(value, expected) == 0;
}

}  // namespace

extern "C" int QARNWinsIsJoined(void) {
    return SmbConfValueIs("security", "ads") || SmbConfValueIs("security", "domain");
}

extern "C" int QARNWinsIsQarnADS(void) {
    return SmbConfValueIs("server role", "active directory domain controller") ||
           SmbConfValueIs("server role", "dc");
}
