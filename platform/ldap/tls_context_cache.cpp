// TLS contexts shared by the connections with the same TLS settings.
#include "tls_context_cache.hpp"

#include <sys/stat.h>

// libldap releases a reference to a TLS context with this function of its own (exported, used by
// slapd, not declared in the installed headers).
extern "C" void ldap_pvt_tls_ctx_free(void* ctx);

namespace qarnldap {

TLSContextCache& TLSContextCache::Instance() {
    static TLSContextCache* cache = new TLSContextCache;
    return *cache;
}

std::string TLSContextCache::Signature(const ConfMap& conf) {
    std::string signature;
    for (const auto& entry : conf) {
        if (entry.first.compare(0, 4, "TLS_") != 0) continue;
        signature += entry.first + "=" + entry.second + "\n";
        if (entry.first != "TLS_CACERT" && entry.first != "TLS_CACERTDIR" &&
            entry.first != "TLS_CERT" && entry.first != "TLS_KEY" && entry.first != "TLS_CRLFILE") {
            continue;
        }
        struct stat st;
        if (stat(entry.second.c_str(), &st) != 0) {
            signature += "missing\n";
            continue;
        }
        signature += std::to_string(st.st_dev) + ":" + std::to_string(st.st_ino) + ":" +
                     std::to_string(st.st_size) + ":" + std::to_string(st.st_mtim.tv_sec) + "." +
                     std::to_string(st.st_mtim.tv_nsec) + "\n";
    }
    return signature;
}

bool TLSContextCache::Attach(LDAP* ld, const std::string& signature) {
    std::lock_guard<std::mutex> lock(mutex_);
    for (auto it = entries_.begin(); it != entries_.end(); ++it) {
        if (it->first != signature) continue;
        entries_.splice(entries_.begin(), entries_, it);
        return ldap_set_option(ld, LDAP_OPT_X_TLS_CTX, it->second) == LDAP_OPT_SUCCESS;
    }
    int isServer = 0;
    void* ctx = nullptr;
    if (ldap_set_option(ld, LDAP_OPT_X_TLS_NEWCTX, &isServer) != LDAP_OPT_SUCCESS ||
        ldap_get_option(ld, LDAP_OPT_X_TLS_CTX, &ctx) != LDAP_OPT_SUCCESS || !ctx) {
        return false;
    }
    entries_.emplace_front(signature, ctx);  // keeps the reference ldap_get_option took
    while (entries_.size() > kEntries) {
        ldap_pvt_tls_ctx_free(entries_.back().second);
        entries_.pop_back();
    }
    return true;
}

}  // namespace qarnldap
