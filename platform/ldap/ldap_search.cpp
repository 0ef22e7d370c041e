// Streamed, paged subtree searches delivered one entry (one block of key/value pairs) at a time.
#include <stdlib.h>
#include <strings.h>

#include <new>
#include <optional>
#include <string>
#include <vector>

#include "ldap_internal.hpp"
#include "sig_pipe_guard.hpp"

namespace qarnldap {

namespace {

constexpr int kDefaultPageSize = 1000;
constexpr int kListCapacity = 16;
constexpr int kResultTimeoutSec = 120;

struct SearchState {
    LDAP* ld = nullptr;
    int msgid = -1;
    bool done = true;
    bool oneEntry = false;
    bool tls = false;  // reads may write (TLS records), so they need the SIGPIPE guard
    int pageSize = kDefaultPageSize;
    std::string base;
    std::string filter;
    std::vector<std::string> attrNames;  // requested attributes, "dn" left out
    std::vector<char*> attrs;            // null-terminated view of attrNames, or "1.1"
    struct berval cookie = {0, nullptr};
    // The messages received in one go and the next of them to deliver.
    LDAPMessage* received = nullptr;
    LDAPMessage* next = nullptr;
};

char kNoAttrs[] = "1.1";

void FreeLists(QARN_LDAP_SEARCH_RESULT* res) {
    if (res->pKeys) QLIBCSzListFree(res->pKeys);
    if (res->pValues) QLIBCSzListFree(res->pValues);
    res->pKeys = nullptr;
    res->pValues = nullptr;
}

void FreeState(SearchState* state) {
    if (!state) return;
    if (state->received) ldap_msgfree(state->received);
    if (state->ld) {
        if (!state->done && state->msgid >= 0)
            ldap_abandon_ext(state->ld, state->msgid, nullptr, nullptr);
        ldap_unbind_ext_s(state->ld, nullptr, nullptr);
    }
    if (state->cookie.bv_val) ber_memfree(state->cookie.bv_val);
    delete state;
}

// Sends the search, with the paged-results control and the state's cookie unless one entry is
// wanted. Returns the libldap code.
int SendSearch(SearchState* state) {
    LDAPControl* page = nullptr;
    LDAPControl* controls[2] = {nullptr, nullptr};
    if (!state->oneEntry) {
        int rc = ldap_create_page_control(
            state->ld, state->pageSize, state->cookie.bv_val ? &state->cookie : nullptr, 0, &page);
        if (rc != LDAP_SUCCESS) return rc;
        controls[0] = page;
    }
    char** attrs = state->attrs.empty() ? nullptr : state->attrs.data();
    int rc = ldap_search_ext(state->ld, state->base.c_str(), LDAP_SCOPE_SUBTREE,
                             state->filter.c_str(), attrs, 0, page ? controls : nullptr, nullptr,
                             nullptr, state->oneEntry ? 1 : LDAP_NO_LIMIT, &state->msgid);
    if (page) ldap_control_free(page);
    return rc;
}

bool Push(QLIBC_SZLIST** list, const char* text) {
    return QLIBCSzListPush(list, text) >= 0;
}

// The key under which attribute name is delivered: the requested spelling when it was asked for.
const char* KeyOf(const SearchState* state, const char* name) {
    for (const std::string& wanted : state->attrNames) {
        if (strcasecmp(wanted.c_str(), name) == 0) return wanted.c_str();
    }
    return name;
}

// Puts the entry msg into res's lists; false when memory ran out.
bool FillBlock(SearchState* state, LDAPMessage* msg, QARN_LDAP_SEARCH_RESULT* res) {
    res->pKeys = QLIBCSzListAlloc(kListCapacity);
    res->pValues = QLIBCSzListAlloc(kListCapacity);
    if (!res->pKeys || !res->pValues) return false;
    BerElement* ber = nullptr;
    struct berval dn = {0, nullptr};
    if (ldap_get_dn_ber(state->ld, msg, &ber, &dn) != LDAP_SUCCESS) {
        if (ber) ber_free(ber, 0);
        return false;
    }
    std::string text(dn.bv_val ? dn.bv_val : "", dn.bv_len);
    bool ok = Push(&res->pKeys, "dn") && Push(&res->pValues, text.c_str());
    struct berval name = {0, nullptr};
    struct berval* values = nullptr;
    while (ok) {
        int rc = ldap_get_attribute_ber(state->ld, msg, ber, &name, &values);
        if (rc != LDAP_SUCCESS || !name.bv_val) break;
        std::string key(name.bv_val, name.bv_len);
        const char* keyText = KeyOf(state, key.c_str());
        for (struct berval* value = values; ok && value && value->bv_val; ++value) {
            if (IsText(value->bv_val, value->bv_len)) {
                text.assign(value->bv_val, value->bv_len);
            } else {
                text = Base64(reinterpret_cast<const unsigned char*>(value->bv_val), value->bv_len);
            }
            ok = Push(&res->pKeys, keyText) && Push(&res->pValues, text.c_str());
        }
        if (values) ber_memfree(values);
        values = nullptr;
    }
    ber_free(ber, 0);
    return ok;
}

// Ends the reading with status (a libldap code) and records the failure unless it is success.
void Finish(SearchState* state, QARN_LDAP_SEARCH_RESULT* res, int code) {
    state->done = true;
    res->status = MapCode(code);
    if (code != LDAP_SUCCESS && code != LDAP_SIZELIMIT_EXCEEDED) {
        QARNLDAP_SET_ERR(QARN_LDAP_ERR_SEARCH);
        QARNLDAP_LOG(LOG_ERR, "search under [%s] ended: %d %s (%s)", state->base.c_str(),
                     res->status, ldap_err2string(code), Diagnostic(state->ld).c_str());
    }
}

// The next message of the search, from those received in one go; waits for more when they are
// delivered. Null when the reading ended.
LDAPMessage* NextMessage(SearchState* state, QARN_LDAP_SEARCH_RESULT* res) {
    if (!state->next) {
        if (state->received) ldap_msgfree(state->received);
        state->received = nullptr;
        std::optional<platform::SigPipeGuard> guard;
        if (state->tls) guard.emplace();
        struct timeval timeout = {kResultTimeoutSec, 0};
        int type =
            ldap_result(state->ld, state->msgid, LDAP_MSG_RECEIVED, &timeout, &state->received);
        if (type < 0) {
            int code = LDAP_SERVER_DOWN;
            ldap_get_option(state->ld, LDAP_OPT_RESULT_CODE, &code);
            Finish(state, res, code != LDAP_SUCCESS ? code : LDAP_SERVER_DOWN);
            return nullptr;
        }
        if (type == 0) {
            platform::SigPipeGuard writing;
            ldap_abandon_ext(state->ld, state->msgid, nullptr, nullptr);
            Finish(state, res, LDAP_TIMEOUT);
            return nullptr;
        }
        state->next = ldap_first_message(state->ld, state->received);
    }
    LDAPMessage* msg = state->next;
    state->next = ldap_next_message(state->ld, msg);
    return msg;
}

}  // namespace

bool IsText(const char* data, size_t len) {
    const unsigned char* p = reinterpret_cast<const unsigned char*>(data);
    size_t i = 0;
    while (i < len) {
        unsigned char c = p[i];
        if (c == 0) return false;
        if (c < 0x80) {
            ++i;
            continue;
        }
        size_t extra;
        unsigned int cp;
        if ((c & 0xE0) == 0xC0) {
            extra = 1;
            cp = c & 0x1F;
        } else if ((c & 0xF0) == 0xE0) {
            extra = 2;
            cp = c & 0x0F;
        } else if ((c & 0xF8) == 0xF0) {
            extra = 3;
            cp = c & 0x07;
        } else {
            return false;
        }
        if (i + extra >= len) return false;
        for (size_t k = 1; k <= extra; ++k) {
            if ((p[i + k] & 0xC0) != 0x80) return false;
            cp = (cp << 6) | (p[i + k] & 0x3F);
        }
        static const unsigned int kMin[] = {0, 0x80, 0x800, 0x10000};
        if (cp < kMin[extra] || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return false;
        i += extra + 1;
    }
    return true;
}

std::string Base64(const unsigned char* data, size_t len) {
    static const char kAlphabet[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    out.reserve((len + 2) / 3 * 4);
    size_t i = 0;
    for (; i + 2 < len; i += 3) {
        unsigned int v = (data[i] << 16) | (data[i + 1] << 8) | data[i + 2];
        out += kAlphabet[(v >> 18) & 63];
        out += kAlphabet[(v >> 12) & 63];
        out += kAlphabet[(v >> 6) & 63];
        out += kAlphabet[v & 63];
    }
    if (i < len) {
        unsigned int v = data[i] << 16;
        if (i + 1 < len) v |= data[i + 1] << 8;
        out += kAlphabet[(v >> 18) & 63];
        out += kAlphabet[(v >> 12) & 63];
        out += i + 1 < len ? kAlphabet[(v >> 6) & 63] : '=';
        out += '=';
    }
    return out;
}

}  // namespace qarnldap

using qarnldap::SearchState;

extern "C" int QARNLDAPSearchRequestInit(QARN_LDAP_SEARCH_REQ* req, int allocAttrList) {
    if (!req) {
        QARNLDAP_SET_ERR(QARN_LDAP_ERR_PARAM);
        return -1;
    }
    memset(req, 0, sizeof(*req));
    if (allocAttrList) {
        req->pAttrs = QLIBCSzListAlloc(qarnldap::kListCapacity);
        if (!req->pAttrs) {
            QARNLDAP_SET_ERR(QARN_LDAP_ERR_NOMEM);
            return -1;
        }
    }
    return 0;
}

extern "C" int QARNLDAPSearchInit(const QARN_LDAP_CONN* conn, QARN_LDAP_SEARCH_REQ* req,
                                  QARN_LDAP_SEARCH_RESULT* res) {
    platform::SigPipeGuard guard;
    if (!conn || !req || !res || !conn->szBaseDN) {
        QARNLDAP_SET_ERR(QARN_LDAP_ERR_PARAM);
        return -1;
    }
    qarnldap::FreeLists(res);
    res->status = LDAP_SUCCESS;
    res->entryCount = 0;
    qarnldap::FreeState(static_cast<SearchState*>(req->pPriv));
    req->pPriv = nullptr;

    SearchState* state = new (std::nothrow) SearchState;
    if (!state) {
        QARNLDAP_SET_ERR(QARN_LDAP_ERR_NOMEM);
        return -1;
    }
    try {
        state->base = conn->szBaseDN;
        state->filter = req->szFilter && req->szFilter[0] ? req->szFilter : "(objectClass=*)";
        state->oneEntry = req->oneEntry != 0;
        state->pageSize = req->pageSize > 0 ? req->pageSize : qarnldap::kDefaultPageSize;
        bool askedDN = false;
        int count = req->pAttrs ? QLIBCSzListCount(req->pAttrs) : 0;
        for (int i = 0; i < count; ++i) {
            const char* name = QLIBCSzListGet(req->pAttrs, i);
            if (!name || !name[0]) continue;
            if (strcasecmp(name, "dn") == 0) {
                askedDN = true;
                continue;
            }
            state->attrNames.push_back(name);
        }
        for (std::string& name : state->attrNames) state->attrs.push_back(&name[0]);
        if (state->attrs.empty() && askedDN) state->attrs.push_back(qarnldap::kNoAttrs);
        if (!state->attrs.empty()) state->attrs.push_back(nullptr);
    } catch (const std::bad_alloc&) {
        delete state;
        QARNLDAP_SET_ERR(QARN_LDAP_ERR_NOMEM);
        return -1;
    }

    int status = 0;
    if (qarnldap::Connect(conn, true, &state->ld, &status) < 0) {
        delete state;
        return -1;
    }
    req->pPriv = state;
    state->tls = ldap_tls_inplace(state->ld) != 0;
    if (status != LDAP_SUCCESS) {
        res->status = status;  // connection, TLS or bind refused: nothing to read
        return 0;
    }
    int rc = qarnldap::SendSearch(state);
    if (rc != LDAP_SUCCESS) {
        qarnldap::Finish(state, res, rc);
        return 0;
    }
    state->done = false;
    return 0;
}

extern "C" int QARNLDAPSearchGetNext(QARN_LDAP_SEARCH_REQ* req, QARN_LDAP_SEARCH_RESULT* res) {
    if (!req || !res || !req->pPriv) {
        QARNLDAP_SET_ERR(QARN_LDAP_ERR_PARAM);
        return -1;
    }
    SearchState* state = static_cast<SearchState*>(req->pPriv);
    qarnldap::FreeLists(res);
    while (!state->done) {
        LDAPMessage* msg = qarnldap::NextMessage(state, res);
        if (!msg) break;
        int type = ldap_msgtype(msg);
        if (type == LDAP_RES_SEARCH_ENTRY) {
            bool ok = false;
            try {
                ok = qarnldap::FillBlock(state, msg, res);
            } catch (const std::bad_alloc&) {
                ok = false;
            }
            if (!ok) {
                qarnldap::FreeLists(res);
                platform::SigPipeGuard guard;
                ldap_abandon_ext(state->ld, state->msgid, nullptr, nullptr);
                QARNLDAP_SET_ERR(QARN_LDAP_ERR_NOMEM);
                state->done = true;
                res->status = qarnldap::MapCode(LDAP_NO_MEMORY);
                break;
            }
            ++res->entryCount;
            return 1;
        }
        if (type != LDAP_RES_SEARCH_RESULT) continue;  // references and intermediate responses
        int code = LDAP_SUCCESS;
        LDAPControl** controls = nullptr;
        int rc = ldap_parse_result(state->ld, msg, &code, nullptr, nullptr, nullptr, &controls, 0);
        if (rc != LDAP_SUCCESS) code = rc;
        bool more = false;
        if (code == LDAP_SUCCESS && !state->oneEntry && controls) {
            LDAPControl* page = ldap_control_find(LDAP_CONTROL_PAGEDRESULTS, controls, nullptr);
            if (page) {
                ber_int_t estimate = 0;
                struct berval cookie = {0, nullptr};
                if (ldap_parse_pageresponse_control(state->ld, page, &estimate, &cookie) ==
                    LDAP_SUCCESS) {
                    if (state->cookie.bv_val) ber_memfree(state->cookie.bv_val);
                    state->cookie = cookie;
                    more = cookie.bv_val && cookie.bv_len > 0;
                }
            }
        }
        if (controls) ldap_controls_free(controls);
        if (!more) {
            qarnldap::Finish(state, res, code);
            break;
        }
        platform::SigPipeGuard guard;
        rc = qarnldap::SendSearch(state);
        if (rc != LDAP_SUCCESS) {
            qarnldap::Finish(state, res, rc);
            break;
        }
    }
    return 0;
}

extern "C" int QARNLDAPResultGetAttrCount(const QARN_LDAP_SEARCH_RESULT* res) {
    if (!res || !res->pKeys) return 0;
    return QLIBCSzListCount(res->pKeys);
}

extern "C" const char* QARNLDAPResultGetKey(const QARN_LDAP_SEARCH_RESULT* res, int index) {
    if (!res || !res->pKeys || index < 0 || index >= QLIBCSzListCount(res->pKeys)) return nullptr;
    return QLIBCSzListGet(res->pKeys, index);
}

extern "C" const char* QARNLDAPResultGetValue(const QARN_LDAP_SEARCH_RESULT* res, int index) {
    if (!res || !res->pValues || index < 0 || index >= QLIBCSzListCount(res->pValues))
        return nullptr;
    return QLIBCSzListGet(res->pValues, index);
}

extern "C" void QARNLDAPSearchFree(QARN_LDAP_SEARCH_REQ* req, QARN_LDAP_SEARCH_RESULT* res) {
    platform::SigPipeGuard guard;
    if (req) {
        qarnldap::FreeState(static_cast<SearchState*>(req->pPriv));
        req->pPriv = nullptr;
        if (req->pAttrs) QLIBCSzListFree(req->pAttrs);
        req->pAttrs = nullptr;
    }
    if (res) qarnldap::FreeLists(res);
}
