// What a working domain membership needs of the Samba global settings, and the realm and
// workgroup recorded when the server joined.
#pragma once

#include <vector>

#include "util.hpp"

struct SMBConfRule {
    const char* name;     // the setting as the error details name it
    const char* finding;  // logged when the rule fails
};

// Failed rules of the settings alone, in report order: idmap backend, passdb backend, printing
// and, unless the server is itself the directory server, security.
std::vector<const SMBConfRule*> FailedSettingRules(const KeyValueMap& settings, bool isADServer);
// Failed rules of the realm and workgroup against the join configuration's.
std::vector<const SMBConfRule*> FailedJoinRules(const KeyValueMap& settings,
                                                const KeyValueMap& joinConf);
