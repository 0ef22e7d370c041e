// The [global] section of Samba's smb.conf, read into and written from a string table.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace platform {

// The value of a [global] parameter as written (quotes kept); empty when absent.
std::string SmbConfGlobalValue(const std::string& name);
// Sets (value non-empty) or removes (value empty) [global] parameters under the SMB
// configuration lock. 0 on success.
int EditSmbConfGlobals(const std::vector<std::pair<std::string, std::string>>& changes);

}  // namespace platform
