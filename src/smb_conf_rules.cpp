#include "smb_conf_rules.hpp"

#include <string>

namespace {

const SMBConfRule kIdmapBackend{"idmap backend", "Detected incompatible idmap backend"};
const SMBConfRule kPassdbBackend{"passdb backend", "Detected wrong passdb backend"};
const SMBConfRule kPrinting{"printing", "Detected unknown printing option"};
const SMBConfRule kSecurity{"security", "Detected wrong security mode"};
const SMBConfRule kRealm{"realm", "Detected incorrect realm"};
const SMBConfRule kWorkgroup{"workgroup", "Detected incorrect workgroup"};

const char kIdmapPrefix[] = "idmap";
const char kBackend[] = "backend";
const char kIdmapBackendValue[] = "qarn";

// An absent setting reads as "".
std::string ValueOf(const KeyValueMap& settings, const std::string& name) {
    auto setting = settings.find(name);
    return setting == settings.end() ? "" : setting->second;
}

bool HasForeignIdmapBackend(const KeyValueMap& settings) {
    for (const auto& [name, value] : settings) {
        if (name.compare(0, sizeof(kIdmapPrefix) - 1, kIdmapPrefix) == 0 &&
            name.find(kBackend) != std::string::npos && value != kIdmapBackendValue) {
            return true;
        }
    }
    return false;
}

bool IsMemberSecurity(const std::string& security) {
    return security == "ads" || security == "domain";
}

}  // namespace

std::vector<const SMBConfRule*> FailedSettingRules(const KeyValueMap& settings, bool isADServer) {
    std::vector<const SMBConfRule*> failed;
    if (HasForeignIdmapBackend(settings)) failed.push_back(&kIdmapBackend);
    if (ValueOf(settings, kPassdbBackend.name) != "smbpasswd") failed.push_back(&kPassdbBackend);
    if (ValueOf(settings, kPrinting.name) != "cups") failed.push_back(&kPrinting);
    if (!isADServer && !IsMemberSecurity(ValueOf(settings, kSecurity.name))) {
        failed.push_back(&kSecurity);
    }
    return failed;
}

std::vector<const SMBConfRule*> FailedJoinRules(const KeyValueMap& settings,
                                                const KeyValueMap& joinConf) {
    std::vector<const SMBConfRule*> failed;
    for (const SMBConfRule* rule : {&kRealm, &kWorkgroup}) {
        std::string value = ValueOf(settings, rule->name);
        if (value.empty() || value != ValueOf(joinConf, rule->name)) failed.push_back(rule);
    }
    return failed;
}
