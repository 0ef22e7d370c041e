// TLS contexts shared by the connections with the same TLS settings.
#pragma once

#include <ldap.h>

#include <list>
#include <mutex>
#include <string>
#include <utility>

#include "ldap_internal.hpp"

namespace qarnldap {

// libldap builds a TLS context from a connection's TLS settings, reading the CA, certificate and
// key files each time, and libldap 2.5's GnuTLS glue never frees the client key and certificates
// it loads into a context. So one context is built per distinct setting (the TLS keys of the
// configuration and the identity and modification time of the files they name) and handed to
// every connection with that setting. A few settings are kept: the client certificate is switched
// on and off within one request.
class TLSContextCache {
  public:
    // The process's cache; never destroyed, as connections may still be made during exit.
    static TLSContextCache& Instance();

    // The TLS settings of conf and the state of the files they name, as one text.
    static std::string Signature(const ConfMap& conf);

    // Gives ld (whose TLS options are set) the context of signature, building it on first use.
    // False when libldap cannot build it.
    bool Attach(LDAP* ld, const std::string& signature);

  private:
    static constexpr size_t kEntries = 4;
    std::mutex mutex_;
    std::list<std::pair<std::string, void*>> entries_;  // most recently used first
};

}  // namespace qarnldap
