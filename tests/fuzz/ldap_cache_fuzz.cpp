// The LDAP result cache as the entry checks read it: a file, one or two passes.
#include <fstream>

#include "ldap_cache_reader.hpp"
#include "unit_fuzz_input.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::string path = ScratchFile("LDAP_result_user.json");
    std::ofstream(path, std::ios::trunc | std::ios::binary) << Text(data, size);
    Json::Value list(Json::arrayValue);
    auto sink = [&list](const LDAPEntry& entry, const ResultAttributes& attributes) {
        if (entry.Find(attributes.name) != nullptr) list.append(entry.ToJson());
    };
    LDAPCacheReader cache(path, "user");
    if (cache.Read(sink) && cache.NeedsSecondPass()) cache.Read(sink);
    cache.Head();
    return 0;
}
