// The domain's controller and names, asked of Samba's net tool; Kerberos tickets with kinit.
#include <strings.h>
#include <sys/stat.h>

#include <fstream>
#include <sstream>
#include <string>

#include "parsers.hpp"
#include "platform_error.hpp"
#include "platform_paths.hpp"
#include "qarn.h"
#include "spawn.hpp"

namespace {

bool CopyOut(const std::string& value, char* buffer, int size) {
    if (buffer == nullptr || size < 1 || value.empty() || value.size() >= size_t(size)) {
        return false;
    }
    value.copy(buffer, value.size());
    buffer[value.size()] = '\0';
    return true;
}

// Writes "key=value" whole: a temporary file renamed over the old one.
bool WriteKeyValueFile(const char* path, const char* key, const std::string& value) {
    mkdir(platform::kQarnDirectory, 0755);
    mkdir(platform::kQarnEtcDirectory, 0755);
    mkdir(platform::kPrivateDirectory, 0700);
    std::string temporary = std::string(path) + ".new";
    {
        std::ofstream output(temporary, std::ios::trunc);
        output << key << "=" << value << "\n";
        if (!output.flush()) return false;
    }
    return rename(temporary.c_str(), path) == 0;
}

}  // namespace

extern "C" int QARNWinsLookupLDAP(const char* realm) {
    if (realm == nullptr || realm[0] == '\0') return 0;
    std::string output;
    if (!platform::Run({platform::kNetTool, "ads", "lookup", "--realm", realm, "-d0"}, "", output)
             .ExitedWith(0)) {
        return 0;
    }
    std::string controller = platform::ValueOf(output, "Information for Domain Controller");
    std::string workgroup = platform::ValueOf(output, "Pre-Win2k Domain");
    if (controller.empty()) return 0;
    if (!WriteKeyValueFile(platform::kKdcIPFile, "KDC", controller)) return 0;
    if (!workgroup.empty()) WriteKeyValueFile(platform::kWorkgroupFile, "Workgroup", workgroup);
    return 1;
}

extern "C" int QARNWinsGetKDCIP(char* buffer, int size) {
    return QLIBCFileGetKeyValue(platform::kKdcIPFile, "KDC", buffer, size, 0) > 0 ? 1 : 0;
}

extern "C" int QARNWinsWorkgroup(char* buffer, int size, const char* kdcAddress) {
    if (kdcAddress == nullptr || kdcAddress[0] == '\0')
        return PLATFORM_FAIL(platform::kDomainBadArgument);
    std::string output;
    if (!platform::Run({platform::kNetTool, "ads", "workgroup", "-S", kdcAddress, "-d0"}, "",
                       output)
             .ExitedWith(0)) {
        return PLATFORM_FAIL(platform::kToolFailed);
    }
    return CopyOut(platform::ValueOf(output, "Workgroup"), buffer, size)
               ? 0
               : PLATFORM_FAIL(platform::kDomainValueNotFound);
}

extern "C" int QARNWorkgroupGet(char* buffer, int size) {
    if (buffer == nullptr || size < 1) return PLATFORM_FAIL(platform::kDomainBadArgument);
    return QLIBCFileGetKeyValue(platform::kSmbConfFile, "workgroup", buffer, size, 0) > 0
               ? 0
               : PLATFORM_FAIL(platform::kDomainValueNotFound);
}

extern "C" int QARNWinsKinit(const char* principal, const char* password) {
    if (principal == nullptr || password == nullptr)
        return PLATFORM_FAIL(platform::kDomainBadArgument);
    std::string output;
    if (platform::Run({platform::kKinitTool, principal}, std::string(password) + "\n", output)
            .ExitedWith(0)) {
        return 0;
    }
    if (platform::IsWrongPassword(output)) return 1;
    return PLATFORM_FAIL(platform::kToolFailed);
}
