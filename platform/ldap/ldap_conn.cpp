// Connecting and binding: server address to URI, TLS modes, the configuration file's settings.
#include <ctype.h>
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <strings.h>

#include <new>

#include "ldap_internal.hpp"
#include "tls_context_cache.hpp"

namespace qarnldap {

namespace {

constexpr int kDefaultNetworkTimeoutSec = 10;
constexpr int kDefaultTimeoutSec = 60;

std::string Trim(const std::string& text) {
    size_t begin = text.find_first_not_of(" \t\r\n");
    if (begin == std::string::npos) return "";
    size_t end = text.find_last_not_of(" \t\r\n");
    return text.substr(begin, end - begin + 1);
}

std::string Upper(std::string text) {
    for (char& c : text) c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
    return text;
}

bool IsHostChar(char c) {
    return isalnum(static_cast<unsigned char>(c)) || c == '.' || c == '-' || c == '_';
}

bool ParsePort(const std::string& text, int* port) {
    if (text.empty() || text.size() > 5) return false;
    int value = 0;
    for (char c : text) {
        if (c < '0' || c > '9') return false;
        value = value * 10 + (c - '0');
    }
    if (value < 1 || value > 65535) return false;
    *port = value;
    return true;
}

// The URI of server for the TLS type, or false when the text is no usable address.
bool BuildURI(const char* server, int tlsType, std::string* uri) {
    std::string text(server);
    for (char c : text) {
        if (isspace(static_cast<unsigned char>(c)) || iscntrl(static_cast<unsigned char>(c))) {
            return false;  // libldap would take a blank-separated list of URIs
        }
    }
    if (text.find("://") != std::string::npos) {
        if (text.compare(0, 7, "ldap://") != 0 && text.compare(0, 8, "ldaps://") != 0) {
            return false;
        }
        LDAPURLDesc* desc = nullptr;
        if (ldap_url_parse(text.c_str(), &desc) != LDAP_URL_SUCCESS) return false;
        ldap_free_urldesc(desc);
        *uri = text;
        return true;
    }
    std::string host;
    int port = tlsType == QARN_LDAP_TLS_SSL ? LDAPS_PORT : LDAP_PORT;
    if (text.size() > 1 && text[0] == '[') {
        size_t close = text.find(']');
        if (close == std::string::npos || close < 2) return false;
        std::string inner = text.substr(1, close - 1);
        std::string rest = text.substr(close + 1);
        if (!rest.empty() && (rest[0] != ':' || !ParsePort(rest.substr(1), &port))) return false;
        host = "[";
        for (char c : inner) {
            if (isxdigit(static_cast<unsigned char>(c)) || c == ':' || c == '.') {
                host += c;
            } else if (c == '%') {
                host += "%25";  // zone identifier, RFC 6874
            } else if (IsHostChar(c)) {
                host += c;
            } else {
                return false;
            }
        }
        host += "]";
    } else {
        size_t colons = 0;
        for (char c : text) colons += c == ':';
        if (colons >= 2) {  // a bare IPv6 address
            std::string bracketed = "[" + text + "]";
            return BuildURI(bracketed.c_str(), tlsType, uri);
        }
        size_t colon = text.find(':');
        host = colon == std::string::npos ? text : text.substr(0, colon);
        if (colon != std::string::npos && !ParsePort(text.substr(colon + 1), &port)) return false;
        if (host.empty()) return false;
        for (char c : host) {
            if (!IsHostChar(c)) return false;
        }
    }
    *uri = std::string(tlsType == QARN_LDAP_TLS_SSL ? "ldaps://" : "ldap://") + host + ":" +
           std::to_string(port);
    return true;
}

int SecondsOf(const ConfMap& conf, const char* key, int fallback) {
    auto it = conf.find(key);
    if (it == conf.end()) return fallback;
    char* end = nullptr;
    long value = strtol(it->second.c_str(), &end, 10);
    if (end == it->second.c_str() || value <= 0 || value > 86400) return fallback;
    return static_cast<int>(value);
}

bool SetStringOption(LDAP* ld, const ConfMap& conf, const char* key, int option) {
    auto it = conf.find(key);
    if (it == conf.end() || it->second.empty()) return true;
    if (ldap_set_option(ld, option, it->second.c_str()) != LDAP_OPT_SUCCESS) {
        QARNLDAP_LOG(LOG_ERR, "bad %s[%s]", key, it->second.c_str());
        return false;
    }
    return true;
}

// Applies the configuration's TLS settings to ld; false on a value libldap refuses.
bool ApplyTLSConf(LDAP* ld, const ConfMap& conf) {
    if (!SetStringOption(ld, conf, "TLS_CACERT", LDAP_OPT_X_TLS_CACERTFILE) ||
        !SetStringOption(ld, conf, "TLS_CACERTDIR", LDAP_OPT_X_TLS_CACERTDIR) ||
        !SetStringOption(ld, conf, "TLS_CERT", LDAP_OPT_X_TLS_CERTFILE) ||
        !SetStringOption(ld, conf, "TLS_KEY", LDAP_OPT_X_TLS_KEYFILE) ||
        !SetStringOption(ld, conf, "TLS_CIPHER_SUITE", LDAP_OPT_X_TLS_CIPHER_SUITE)) {
        return false;
    }
    auto it = conf.find("TLS_REQCERT");
    if (it != conf.end()) {
        static const struct {
            const char* name;
            int value;
        } kLevels[] = {{"never", LDAP_OPT_X_TLS_NEVER}, {"allow", LDAP_OPT_X_TLS_ALLOW},
                       {"try", LDAP_OPT_X_TLS_TRY},     {"demand", LDAP_OPT_X_TLS_DEMAND},
                       {"hard", LDAP_OPT_X_TLS_HARD},   {"yes", LDAP_OPT_X_TLS_HARD},
                       {"true", LDAP_OPT_X_TLS_HARD},   {"on", LDAP_OPT_X_TLS_HARD}};
        bool known = false;
        for (const auto& level : kLevels) {
            if (strcasecmp(level.name, it->second.c_str()) == 0) {
                int value = level.value;
                if (ldap_set_option(ld, LDAP_OPT_X_TLS_REQUIRE_CERT, &value) != LDAP_OPT_SUCCESS)
                    return false;
                known = true;
                break;
            }
        }
        if (!known) {
            QARNLDAP_LOG(LOG_ERR, "bad TLS_REQCERT[%s]", it->second.c_str());
            return false;
        }
    }
    it = conf.find("TLS_CRLCHECK");
    if (it != conf.end()) {
        int value = -1;
        if (strcasecmp(it->second.c_str(), "none") == 0) value = LDAP_OPT_X_TLS_CRL_NONE;
        if (strcasecmp(it->second.c_str(), "peer") == 0) value = LDAP_OPT_X_TLS_CRL_PEER;
        if (strcasecmp(it->second.c_str(), "all") == 0) value = LDAP_OPT_X_TLS_CRL_ALL;
        if (value < 0 || ldap_set_option(ld, LDAP_OPT_X_TLS_CRLCHECK, &value) != LDAP_OPT_SUCCESS)
            return false;
    }
    it = conf.find("TLS_PROTOCOL_MIN");
    if (it != conf.end()) {
        unsigned major = 0, minor = 0;
        if (sscanf(it->second.c_str(), "%u.%u", &major, &minor) != 2) return false;
        int value = static_cast<int>((major << 8) + minor);
        if (ldap_set_option(ld, LDAP_OPT_X_TLS_PROTOCOL_MIN, &value) != LDAP_OPT_SUCCESS)
            return false;
    }
    return true;
}

}  // namespace

bool ReadConf(const char* path, ConfMap* conf) {
    conf->clear();
    FILE* in = fopen(path, "re");
    if (!in) return errno == ENOENT;
    char* buffer = nullptr;
    size_t size = 0;
    while (getline(&buffer, &size, in) >= 0) {
        std::string text = Trim(buffer);
        if (text.empty() || text[0] == '#') continue;
        size_t blank = text.find_first_of(" \t");
        std::string key = Upper(text.substr(0, blank));
        std::string value = blank == std::string::npos ? "" : Trim(text.substr(blank));
        (*conf)[key] = value;
    }
    bool ok = !ferror(in);
    free(buffer);
    fclose(in);
    return ok;
}

int MapCode(int code) {
    if (code <= LDAP_SERVER_DOWN && code >= LDAP_REFERRAL_LIMIT_EXCEEDED) return 80 - code;
    return code;
}

std::string Diagnostic(LDAP* ld) {
    char* message = nullptr;
    std::string text;
    if (ld && ldap_get_option(ld, LDAP_OPT_DIAGNOSTIC_MESSAGE, &message) == LDAP_OPT_SUCCESS &&
        message) {
        text = message;
        ldap_memfree(message);
    }
    return text;
}

int Bind(LDAP* ld, const QARN_LDAP_CONN* conn) {
    const char* password = conn->szBindPW ? conn->szBindPW : "";
    struct berval cred;
    cred.bv_val = const_cast<char*>(password);
    cred.bv_len = strlen(password);
    int rc =
        ldap_sasl_bind_s(ld, conn->szBindDN, LDAP_SASL_SIMPLE, &cred, nullptr, nullptr, nullptr);
    if (rc != LDAP_SUCCESS) {
        QARNLDAP_SET_ERR(QARN_LDAP_ERR_BIND);
        QARNLDAP_LOG(LOG_ERR, "bind as [%s] failed: %d %s (%s)", conn->szBindDN, MapCode(rc),
                     ldap_err2string(rc), Diagnostic(ld).c_str());
    }
    return MapCode(rc);
}

int Connect(const QARN_LDAP_CONN* conn, bool bind, LDAP** ldOut, int* status) {
    *ldOut = nullptr;
    *status = LDAP_SUCCESS;
    if (!conn || !conn->szServer || !conn->szServer[0]) {
        QARNLDAP_SET_ERR(QARN_LDAP_ERR_PARAM);
        return -1;
    }
    if (conn->tlsType != QARN_LDAP_TLS_NONE && conn->tlsType != QARN_LDAP_TLS_SSL &&
        conn->tlsType != QARN_LDAP_TLS_START_TLS) {
        QARNLDAP_SET_ERR(QARN_LDAP_ERR_TLS);
        QARNLDAP_LOG(LOG_ERR, "unknown TLS type %d", conn->tlsType);
        return -1;
    }
    std::string uri;
    try {
        if (!BuildURI(conn->szServer, conn->tlsType, &uri)) {
            QARNLDAP_SET_ERR(QARN_LDAP_ERR_PARAM);
            QARNLDAP_LOG(LOG_ERR, "bad server address[%s]", conn->szServer);
            return -1;
        }
        ConfMap conf;
        if (!ReadConf(QARN_LDAP_CONF_PATH, &conf)) {
            QARNLDAP_SET_ERR(QARN_LDAP_ERR_CONF);
            QARNLDAP_LOG(LOG_ERR, "cannot read %s", QARN_LDAP_CONF_PATH);
            return -1;
        }
        LDAP* ld = nullptr;
        int rc = ldap_initialize(&ld, uri.c_str());
        if (rc != LDAP_SUCCESS || !ld) {
            QARNLDAP_SET_ERR(QARN_LDAP_ERR_INIT);
            QARNLDAP_LOG(LOG_ERR, "ldap_initialize(%s) failed: %s", uri.c_str(),
                         ldap_err2string(rc));
            return -1;
        }
        int version = LDAP_VERSION3;
        struct timeval network = {SecondsOf(conf, "NETWORK_TIMEOUT", kDefaultNetworkTimeoutSec), 0};
        struct timeval timeout = {SecondsOf(conf, "TIMEOUT", kDefaultTimeoutSec), 0};
        bool ok = ldap_set_option(ld, LDAP_OPT_PROTOCOL_VERSION, &version) == LDAP_OPT_SUCCESS &&
                  ldap_set_option(ld, LDAP_OPT_REFERRALS, LDAP_OPT_OFF) == LDAP_OPT_SUCCESS &&
                  ldap_set_option(ld, LDAP_OPT_RESTART, LDAP_OPT_ON) == LDAP_OPT_SUCCESS &&
                  ldap_set_option(ld, LDAP_OPT_NETWORK_TIMEOUT, &network) == LDAP_OPT_SUCCESS &&
                  ldap_set_option(ld, LDAP_OPT_TIMEOUT, &timeout) == LDAP_OPT_SUCCESS;
        if (!ok) {
            QARNLDAP_SET_ERR(QARN_LDAP_ERR_INIT);
            ldap_unbind_ext_s(ld, nullptr, nullptr);
            return -1;
        }
        if (conn->tlsType != QARN_LDAP_TLS_NONE) {
            if (!ApplyTLSConf(ld, conf) ||
                !TLSContextCache::Instance().Attach(ld, TLSContextCache::Signature(conf))) {
                QARNLDAP_SET_ERR(QARN_LDAP_ERR_TLS);
                QARNLDAP_LOG(LOG_ERR, "TLS settings of %s not usable", QARN_LDAP_CONF_PATH);
                ldap_unbind_ext_s(ld, nullptr, nullptr);
                return -1;
            }
        }
        *ldOut = ld;
        rc = ldap_connect(ld);
        if (rc != LDAP_SUCCESS) {
            *status = MapCode(rc);
            QARNLDAP_SET_ERR(QARN_LDAP_ERR_CONNECT);
            QARNLDAP_LOG(LOG_ERR, "connect to %s failed: %d %s (%s)", uri.c_str(), *status,
                         ldap_err2string(rc), Diagnostic(ld).c_str());
            return 0;
        }
        if (conn->tlsType == QARN_LDAP_TLS_START_TLS) {
            rc = ldap_start_tls_s(ld, nullptr, nullptr);
            if (rc != LDAP_SUCCESS) {
                *status = MapCode(rc);
                QARNLDAP_SET_ERR(QARN_LDAP_ERR_TLS);
                QARNLDAP_LOG(LOG_ERR, "StartTLS with %s failed: %d %s (%s)", uri.c_str(), *status,
                             ldap_err2string(rc), Diagnostic(ld).c_str());
                return 0;
            }
        }
        if (bind && conn->szBindDN && conn->szBindDN[0]) *status = Bind(ld, conn);
        return 0;
    } catch (const std::bad_alloc&) {
        QARNLDAP_SET_ERR(QARN_LDAP_ERR_NOMEM);
        if (*ldOut) ldap_unbind_ext_s(*ldOut, nullptr, nullptr);
        *ldOut = nullptr;
        return -1;
    }
}

}  // namespace qarnldap

extern "C" int QARNLDAPSSLToType(const char* mode) {
    if (!mode) return QARN_LDAP_TLS_INVALID;
    static const struct {
        const char* name;
        int type;
    } kModes[] = {{"no", QARN_LDAP_TLS_NONE},
                  {"none", QARN_LDAP_TLS_NONE},
                  {"off", QARN_LDAP_TLS_NONE},
                  {"yes", QARN_LDAP_TLS_SSL},
                  {"ssl", QARN_LDAP_TLS_SSL},
                  {"ldaps", QARN_LDAP_TLS_SSL},
                  {"start_tls", QARN_LDAP_TLS_START_TLS},
                  {"starttls", QARN_LDAP_TLS_START_TLS},
                  {"tls", QARN_LDAP_TLS_START_TLS}};
    for (const auto& entry : kModes) {
        if (strcasecmp(entry.name, mode) == 0) return entry.type;
    }
    return QARN_LDAP_TLS_INVALID;
}
