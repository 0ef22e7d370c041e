#include "check_ldap.hpp"

#include <string.h>
#include <strings.h>
#include <unistd.h>

#include <fstream>
#include <optional>

#include "dns_resolver.hpp"
#include "error_code.hpp"
#include "ldap_cache_reader.hpp"
#include "ldap_cache_writer.hpp"
#include "log.hpp"
#include "port_checker.hpp"
#include "qarn.h"
#include "system_paths.hpp"

namespace {

const char kClientCertificate[] = "/var/lib/ldap/ldapclient.crt";
const char kClientKey[] = "/var/lib/ldap/ldapclient.key";
const int kConfidentialityRequired = 13;

// Flags of QARNLDAPConfSetOne.
const int kConfSet = 0;
const int kConfReset = 1;

std::string CachePath(const std::string& category) {
    return kLDAPCachePrefix + category + ".json";
}

// "level" of a reply: the severity as the client receives it, a number.
Json::Value Level(ErrorSeverity severity) {
    return static_cast<int>(severity);
}

// Appends the entry's DN to list when it has one.
void ListDN(const LDAPEntry& entry, Json::Value* list) {
    const std::string* dn = entry.Find("dn");
    if (dn && !dn->empty()) list->append(*dn);
}

// Lists the entry's DN when it lacks the attribute or its text is empty.
void ListIfEmpty(const LDAPEntry& entry, const std::string& attribute, Json::Value* list) {
    const std::string* text = entry.Find(attribute);
    if (!text || text->empty()) ListDN(entry, list);
}

bool AllDigits(const std::string& text) {
    return text.find_first_not_of("0123456789") == std::string::npos;
}

// The members of list that are not in names.
Json::Value Without(const Json::Value& list, const std::set<std::string>& names) {
    Json::Value rest(Json::arrayValue);
    for (const Json::Value& item : list) {
        if (!names.count(item.asString())) rest.append(item);
    }
    return rest;
}

// Whether rule is the profile rule of category and attribute; reads the rule without changing it.
bool IsRule(const Json::Value& rule, const std::string& category, const std::string& attribute) {
    return rule.isObject() && rule["category"].asString() == category &&
           rule["attribute"].asString() == attribute;
}

}  // namespace

LDAPTestHandler::LDAPTestHandler(QARN::APIRequest* request, QARN::APIResponse* response)
    : m_request(request), m_response(response) {}

LDAPTestHandler::~LDAPTestHandler() {
    if (QARNLDAPConfSetOne(kLDAPConfFile, kLDAPConfDefaultsFile, "TLS_CERT", kClientCertificate,
                           kConfReset) < 0 ||
        QARNLDAPConfSetOne(kLDAPConfFile, kLDAPConfDefaultsFile, "TLS_KEY", kClientKey,
                           kConfReset) < 0) {
        DS_LOG(LOG_ERR, "%s:%d reset config failed");
    }
    QARNLDAPSearchFree(&m_searchRequest, &m_searchResult);
}

// --- frame --------------------------------------------------------------------------------------

int LDAPTestHandler::GetParams() {
    m_serverAddress = m_request->GetParam("server_address", "").asString();
    m_baseDN = m_request->GetParam("base_dn", "").asString();
    m_encryption = m_request->GetParam("encryption", "").asString();
    m_bindDN = m_request->GetParam("bind_dn", "").asString();
    m_bindPW = m_request->GetParam("bind_pw", "").asString();
    m_clientCertificate = m_request->GetParam("enable_client_certificate", false).asBool();
    m_profileRules = m_request->GetParam("profile_rules", Json::Value(Json::arrayValue));
    if (m_serverAddress.empty() || m_baseDN.empty() || m_encryption.empty() || m_bindDN.empty() ||
        m_bindPW.empty()) {
        DS_LOG(LOG_ERR, "%s:%d Err: Check all params");
        m_response->SetError(kLDAPParamInvalid, Json::Value());
        return -1;
    }
    if (QARNNetGetAddrType(m_serverAddress.c_str()) == 10) {
        m_serverAddress = "[" + m_serverAddress + "]";
    }
    if (m_bindDN.find('=') == std::string::npos && !m_clientCertificate) {
        m_bindDN = "uid=" + m_bindDN + ",cn=users," + m_baseDN;
    }

    m_connection.szServer = m_serverAddress.c_str();
    m_connection.szBaseDN = m_baseDN.c_str();
    m_connection.szBindDN = m_bindDN.c_str();
    m_connection.szBindPW = m_bindPW.c_str();
    m_connection.tlsType = QARNLDAPSSLToType(m_encryption == "ssl" ? "yes" : m_encryption.c_str());
    m_connection.serverType = -1;
    if (QARNLDAPBrowserCheckServerType(&m_connection) < 0) {
        DS_LOG(LOG_ERR, "%s:%d Can't get server type");
    }

    if (m_request->GetParam("modify_user_profile", false).asBool()) {
        SetProfile("filter", "passwd", m_request->GetParam("profile_user_filter", "").asString());
        SetProfile("passwd", "uid", m_request->GetParam("profile_user_uid", "").asString());
        SetProfile("passwd", "uidNumber",
                   m_request->GetParam("profile_user_uid_number", "").asString());
    }
    if (m_request->GetParam("modify_group_profile", false).asBool()) {
        SetProfile("filter", "group", m_request->GetParam("profile_group_filter", "").asString());
        SetProfile("group", "cn", m_request->GetParam("profile_group_cn", "").asString());
        SetProfile("group", "gidNumber",
                   m_request->GetParam("profile_group_gid_number", "").asString());
    }
    return 0;
}

int LDAPTestHandler::InitRequest() {
    if (QARNLDAPSearchRequestInit(&m_searchRequest, 1) == -1) {
        DS_LOG(LOG_ERR, "%s:%d init request buffer failed");
        m_response->SetError(kLDAPRequestInitFailed, Json::Value());
        return -1;
    }
    int flag = m_clientCertificate ? kConfSet : kConfReset;
    if (QARNLDAPConfSetOne(kLDAPConfFile, kLDAPConfDefaultsFile, "TLS_CERT", kClientCertificate,
                           flag) < 0 ||
        QARNLDAPConfSetOne(kLDAPConfFile, kLDAPConfDefaultsFile, "TLS_KEY", kClientKey, flag) < 0) {
        DS_LOG(LOG_ERR, "%s:%d set LDAP config failed");
        m_response->SetError(kLDAPSearchFailed, Json::Value());
        return -1;
    }
    return 0;
}

bool LDAPTestHandler::GetParamBoolType(std::string name) {
    if (!m_request->HasParam(name)) return false;
    Json::Value value = m_request->GetParam(name, false);
    if (value.isBool()) return value.asBool();
    if (value.isString()) return value.asString() == "true";
    return false;
}

void LDAPTestHandler::SetProfile(const std::string& category, const std::string& attribute,
                                 const std::string& target) {
    if (!m_profileRules.isArray()) return;
    for (Json::Value& rule : m_profileRules) {
        if (IsRule(rule, category, attribute)) {
            rule["target"] = target;
            return;
        }
    }
}

std::string LDAPTestHandler::GetProfile(const std::string& category, const std::string& attribute,
                                        const std::string& fallback) {
    if (!m_profileRules.isArray()) return fallback;
    for (const Json::Value& rule : m_profileRules) {
        if (!IsRule(rule, category, attribute)) continue;
        std::string target = rule["target"].asString();
        const std::string hash = "HASH(";
        if (target.size() > hash.size() && target.compare(0, hash.size(), hash) == 0 &&
            target.back() == ')') {
            target = target.substr(hash.size(), target.size() - hash.size() - 1);
            if (attribute == "uidNumber" || attribute == "gidNumber") m_hashedID = true;
        }
        return target.empty() ? fallback : target;
    }
    return fallback;
}

void LDAPTestHandler::SetFilter(std::string filter) {
    m_filter = std::move(filter);
    m_searchRequest.szFilter = m_filter.c_str();
}

int LDAPTestHandler::SetAttribute(std::vector<std::string> names) {
    for (const std::string& name : names) {
        if (QLIBCSzListPush(&m_searchRequest.pAttrs, name.c_str()) < 0) {
            DS_LOG(LOG_ERR, "%s:%d set attribute[%s] failed", name.c_str());
            return -1;
        }
    }
    return 0;
}

bool LDAPTestHandler::QueryData(const std::string& category, Json::Value* out,
                                const EntrySink& sink) {
    if (GetParams() == -1 || InitRequest() == -1) return false;
    (*out)["server_type"] = m_connection.serverType;

    std::string filter;
    std::vector<std::string> attributes;
    if (category == "any") {
        m_searchRequest.oneEntry = 1;
        attributes = {"dn"};
    } else if (category == "sambaDomain") {
        filter = "objectClass=" + category;
    } else if (category == "user" || category == "group") {
        bool user = category == "user";
        filter = user ? GetProfile("filter", "passwd", "(objectClass=posixAccount)")
                      : GetProfile("filter", "group", "(objectClass=posixGroup)");
        std::string name =
            user ? GetProfile("passwd", "uid", "uid") : GetProfile("group", "cn", "cn");
        std::string id = user ? GetProfile("passwd", "uidNumber", "uidNumber")
                              : GetProfile("group", "gidNumber", "gidNumber");
        attributes = {"dn", name, id};
        if (user) attributes.push_back("sambaNTPassword");
        Json::Value& data = (*out)["data"];
        data[user ? "profile_user_filter" : "profile_group_filter"] = filter;
        data[user ? "profile_user_uid" : "profile_group_cn"] = name;
        data[user ? "profile_user_uid_number" : "profile_group_gid_number"] = id;
        (*out)["attribute"]["name"] = name;
        (*out)["attribute"]["id"] = id;
    } else {
        m_response->SetError(kLDAPParamInvalid, Json::Value());
        return false;
    }
    if (!filter.empty()) SetFilter(filter);
    if (!attributes.empty()) SetAttribute(attributes);

    if (QARNLDAPSearchInit(&m_connection, &m_searchRequest, &m_searchResult) < 0) {
        DS_LOG(LOG_ERR, "%s:%d search init failed[0x%04X %s:%d]", QLIBCErrGet(),
               QLIBCErrorGetFile(), QLIBCErrorGetLine());
        m_response->SetError(kLDAPSearchFailed, Json::Value());
        return false;
    }
    int code = ParseResult(AttributesOf(*out), sink);
    QARNLDAPSearchFree(&m_searchRequest, &m_searchResult);
    (*out)["ldap_errcode"] = code;
    (*out)["skip_id_type_check"] = m_hashedID;
    return true;
}

int LDAPTestHandler::ParseResult(const ResultAttributes& attributes, const EntrySink& sink) {
    LDAPEntry entry;
    bool firstEntry = true;
    while (QARNLDAPSearchGetNext(&m_searchRequest, &m_searchResult) == 1) {
        int count = QARNLDAPResultGetAttrCount(&m_searchResult);
        for (int j = 0; j < count; ++j) {
            const char* key = QARNLDAPResultGetKey(&m_searchResult, j);
            const char* value = QARNLDAPResultGetValue(&m_searchResult, j);
            if (!key || !value) continue;
            if (QARNLDAPDebugEnabled()) {
                // Password hashes stay out of the log.
                bool secret = strcasecmp(key, "sambaNTPassword") == 0;
                DS_LOG(LOG_ERR, "%s:%d key[%s], value[%s]", key, secret ? "***" : value);
            }
            if (strcmp(key, "dn") == 0) {
                if (!firstEntry) {
                    sink(entry, attributes);
                    entry.Clear();
                }
                firstEntry = false;
            }
            entry.Set(key, value);
        }
    }
    if (!entry.Empty()) sink(entry, attributes);
    int status = m_searchResult.status;
    return status == 4 ? 0 : status;  // the size limit of a one-entry search is no failure
}

void LDAPTestHandler::ReplyProfileError(const std::string& category, const Json::Value& result,
                                        Json::Value& reply) {
    reply["data"] = result["data"];
    if (category == "user") {
        reply["level"] = Level(kError);
        reply["params"]["modify_user_profile"] = true;
        m_response->SetError(kLDAPUserProfileMismatch, reply);
    } else {
        reply["level"] = Level(kWarning);
        reply["params"]["modify_group_profile"] = true;
        m_response->SetError(kLDAPGroupProfileMismatch, reply);
    }
}

// --- server, bind and profile -------------------------------------------------------------------

void LDAPTestHandler::TestServerAddress() {
    std::string address = m_request->GetParam("server_address", "").asString();
    if (address.empty()) {
        m_response->SetError(kBadParameter, Json::Value());
        return;
    }
    std::string dns = m_request->GetParam("dns", "").asString();
    if (QARNNetGetAddrType(address.c_str()) == 0) {
        DnsResolver resolver;
        resolver.SetDNS(dns);
        resolver.SetDomainName(address);
        resolver.SetRecordType("");
        Json::Value addresses(Json::arrayValue);
        if (resolver.ResolveRecord(addresses) != kNoError || !addresses.isArray() ||
            addresses.empty()) {
            m_response->SetError(kNameNotResolved, Json::Value());
            return;
        }
        address = addresses[0].asString();
    }
    PortChecker checker(address, kLDAPPort);
    if (checker.Scan() != 0) {
        checker.SetPort(kLDAPSPort);
        if (checker.Scan() != 0) {
            m_response->SetError(kLDAPPortUnreachable, Json::Value());
            return;
        }
    }
    Json::Value reply;
    reply["server_address"] = address;
    m_response->SetSuccess(reply);
}

void LDAPTestHandler::TestAuthInfo() {
    Json::Value result;
    if (!QueryData("any", &result, [](const LDAPEntry&, const ResultAttributes&) {})) return;
    Json::Value reply;
    int code = result["ldap_errcode"].asInt();
    if (code != 0) {
        reply["ldap_errcode"] = result["ldap_errcode"];
        reply["level"] = Level(kError);
        if (code == kConfidentialityRequired) {
            reply["data"]["encryption"] = "start_tls";
            m_response->SetError(kLDAPProtectedConnectionRequired, reply);
        } else {
            m_response->SetError(kLDAPBindFailed, reply);
        }
        return;
    }
    reply["bind_dn"] = m_bindDN;
    m_response->SetSuccess(reply);
}

void LDAPTestHandler::TestProfile() {
    std::string category = CategoryParam();
    std::string path = CachePath(category);
    Json::Value result;
    // The entries go to the cache as they arrive; it is put in place only when the profile fits.
    std::optional<LDAPCacheWriter> cache;
    bool fits = false;
    auto sink = [&](const LDAPEntry& entry, const ResultAttributes& attributes) {
        if (attributes.name.empty() || attributes.id.empty()) return;  // such a result never fits
        if (!cache) cache.emplace(path, category);
        cache->Add(result, entry);
        fits = fits || (entry.Find(attributes.name) && entry.Find(attributes.id));
    };
    if (!QueryData(category, &result, sink)) return;
    Json::Value reply;
    if (result["ldap_errcode"].asInt() != 0) {
        reply["ldap_errcode"] = result["ldap_errcode"];
        ReplyProfileError(category, result, reply);
        return;
    }
    if (!fits) {
        ReplyProfileError(category, result, reply);
        return;
    }
    if (m_request->GetParam("modify_user_profile", false).asBool() ||
        m_request->GetParam("modify_group_profile", false).asBool()) {
        reply["name"] = "customized";
    }
    reply["profile_rules"] = m_profileRules;
    m_response->SetSuccess(reply);

    if (!cache->Commit(result)) {
        DS_LOG(LOG_ERR, "%s:%d output result failed");
        unlink(path.c_str());
    }
}

// --- entries ------------------------------------------------------------------------------------

std::string LDAPTestHandler::CategoryParam() {
    return m_request->GetParam("type", "user").asString();
}

bool LDAPTestHandler::ListEntries(const std::string& category, const EntryLister& lister,
                                  Json::Value* result, Json::Value* list) {
    auto sink = [&lister, list](const LDAPEntry& entry, const ResultAttributes& attributes) {
        lister(entry, attributes, list);
    };
    bool forced = m_request->GetParam("forced_get_data", false).asBool();
    if (!forced && category.find('/') == std::string::npos) {
        LDAPCacheReader cache(CachePath(category), category);
        bool read = cache.Read(sink);
        if (read && cache.NeedsSecondPass()) {
            *list = Json::Value(Json::arrayValue);
            read = cache.Read(sink);
        }
        if (read) {
            *result = cache.Head();
            return true;
        }
        *list = Json::Value(Json::arrayValue);
    }
    *result = Json::Value(Json::objectValue);
    if (!QueryData(category, result, sink)) return false;
    if ((*result)["ldap_errcode"].asInt() != 0) {
        Json::Value reply;
        reply["ldap_errcode"] = (*result)["ldap_errcode"];
        reply["level"] = Level(kError);
        m_response->SetError(kLDAPSearchFailed, reply);
        return false;
    }
    return true;
}

void LDAPTestHandler::ReplyList(const std::string& category, int code, const Json::Value& list,
                                bool withType, bool withPlural) {
    if (list.empty()) {
        m_response->SetSuccess(Json::Value());
        return;
    }
    Json::Value reply;
    reply["level"] = Level(kWarning);
    if (withType) reply["params"]["type"] = category;
    reply["params"]["forced_get_data"] = true;
    reply["info"]["list"] = list;
    if (withPlural) reply["isPlural"] = list.size() >= 2;
    m_response->SetError(code, reply);
}

void LDAPTestHandler::TestNameEmpty() {
    ReplyEmptyAttribute(&ResultAttributes::name, kLDAPUserNameEmpty, kLDAPGroupNameEmpty);
}

void LDAPTestHandler::TestIdEmpty() {
    ReplyEmptyAttribute(&ResultAttributes::id, kLDAPUserIdEmpty, kLDAPGroupIdEmpty);
}

void LDAPTestHandler::ReplyEmptyAttribute(std::string ResultAttributes::*kind, ErrorCode userCode,
                                          ErrorCode groupCode) {
    std::string category = CategoryParam();
    Json::Value result;
    Json::Value list(Json::arrayValue);
    auto lister = [kind](const LDAPEntry& entry, const ResultAttributes& attributes,
                         Json::Value* list) { ListIfEmpty(entry, attributes.*kind, list); };
    if (!ListEntries(category, lister, &result, &list)) return;
    ReplyList(category, category == "user" ? userCode : groupCode, list, true, false);
}

void LDAPTestHandler::TestIdType() {
    std::string category = CategoryParam();
    Json::Value result;
    Json::Value list(Json::arrayValue);
    auto lister = [](const LDAPEntry& entry, const ResultAttributes& attributes,
                     Json::Value* list) {
        const std::string* id = entry.Find(attributes.id);
        if (!id || !AllDigits(*id)) ListDN(entry, list);
    };
    if (!ListEntries(category, lister, &result, &list)) return;
    const Json::Value& hashed = result["skip_id_type_check"];
    if (hashed.isBool() && hashed.asBool()) {
        m_response->SetSuccess(Json::Value());
        return;
    }
    ReplyList(category, category == "user" ? kLDAPUserIdType : kLDAPGroupIdType, list, true, false);
}

void LDAPTestHandler::TestNameDup() {
    std::string category = CategoryParam();
    bool user = category == "user";
    std::set<std::string> localNames;
    ReadLocalAccounts(user ? "/etc/passwd" : "/etc/group", "name", &localNames);
    Json::Value result;
    Json::Value list(Json::arrayValue);
    auto lister = [&localNames](const LDAPEntry& entry, const ResultAttributes& attributes,
                                Json::Value* list) {
        const std::string* name = entry.Find(attributes.name);
        if (name && !name->empty() && localNames.count(*name)) list->append(*name);
    };
    if (!ListEntries(category, lister, &result, &list)) return;
    // The platform's own server holds the platform's own accounts: no clash.
    const Json::Value& serverType = result["server_type"];
    if (serverType.isInt() && serverType.asInt() == QARN_LDAP_SERVER_QARN) {
        list = Without(list, user ? std::set<std::string>{"admin"}
                                  : std::set<std::string>{"users", "administrators"});
    }
    ReplyList(category, user ? kLDAPUserNameDuplicate : kLDAPGroupNameDuplicate, list, true, false);
}

void LDAPTestHandler::TestIdDup() {
    if (GetParamBoolType("enable_idmap")) {
        m_response->SetSuccess(Json::Value());
        return;
    }
    std::string category = CategoryParam();
    std::set<std::string> localIDs;
    ReadLocalAccounts(category == "user" ? "/etc/passwd" : "/etc/group", "id", &localIDs);
    Json::Value result;
    Json::Value list(Json::arrayValue);
    auto lister = [&localIDs](const LDAPEntry& entry, const ResultAttributes& attributes,
                              Json::Value* list) {
        const std::string* id = entry.Find(attributes.id);
        if (id && localIDs.count(*id)) ListDN(entry, list);
    };
    if (!ListEntries(category, lister, &result, &list)) return;
    ReplyList(category, category == "user" ? kLDAPUserIdDuplicate : kLDAPGroupIdDuplicate, list,
              true, true);
}

void LDAPTestHandler::TestSambaNTPwd() {
    if (GetParamBoolType("enable_cifs_pam")) {
        m_response->SetSuccess(Json::Value());
        return;
    }
    Json::Value result;
    Json::Value list(Json::arrayValue);
    auto lister = [](const LDAPEntry& entry, const ResultAttributes&, Json::Value* list) {
        ListIfEmpty(entry, "sambaNTPassword", list);
    };
    if (!ListEntries("user", lister, &result, &list)) return;
    ReplyList("user", kLDAPSambaNTPasswordMissing, list, false, false);
}

void LDAPTestHandler::TestSambaSchema() {
    if (GetParamBoolType("enable_cifs_pam")) {
        m_response->SetSuccess(Json::Value());
        return;
    }
    Json::Value result;
    bool found = false;
    auto sink = [&found](const LDAPEntry&, const ResultAttributes&) { found = true; };
    if (!QueryData("sambaDomain", &result, sink)) return;
    if (result["ldap_errcode"].asInt() == 0 && found) {
        m_response->SetSuccess(Json::Value());
        return;
    }
    Json::Value reply;
    reply["ldap_errcode"] = result["ldap_errcode"];
    reply["level"] = Level(kWarning);
    m_response->SetError(kLDAPSambaSchemaMissing, reply);
}

int LDAPTestHandler::ReadLocalAccounts(const std::string& path, const std::string& kind,
                                       std::set<std::string>* values) {
    std::ifstream file(path);
    std::string line;
    while (std::getline(file, line)) {
        if (line.empty()) continue;
        if (kind == "id") {
            size_t first = line.find(':');
            size_t second = first == std::string::npos ? first : line.find(':', first + 1);
            size_t third = second == std::string::npos ? second : line.find(':', second + 1);
            if (third == std::string::npos) continue;
            values->insert(line.substr(second + 1, third - second - 1));
        } else {
            size_t colon = line.find(':');
            if (colon == std::string::npos) continue;
            values->insert(line.substr(0, colon));
        }
    }
    return 0;
}
