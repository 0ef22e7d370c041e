#include "tool_argument_guard.hpp"

#include <initializer_list>

#include "error_code.hpp"
#include "log.hpp"
#include "util.hpp"

namespace {

// The request values each method hands to a tool as an argument of its own (as the whole value,
// a comma-separated piece, the user name behind a domain's backslash, or any string inside an
// array or object). method null: every method of the family.
struct ToolValues {
    const char* family;
    const char* method;
    std::initializer_list<const char*> parameters;
};

// The domain checks name the domain, its controllers and the user to net, smbclient, wbinfo,
// kinit and nslookup.
const std::initializer_list<const char*> kDomainValues = {
    "server_address", "dns", "dc_ips", "srv_target_ip", "rwdc_fqdn_name", "username"};

const ToolValues kToolValues[] = {
    {"Common", "test_dns_valid", {"server_address", "dns"}},      // nslookup
    {"Common", "test_dns_record", {"server_address", "dns"}},     // nslookup
    {"Common", "test_srv_target", {"dns", "srv"}},                // nslookup
    {"Common", "test_srv_target_post", {"srv"}},                  // nslookup
    {"Common", "test_mtu", {"test_ip"}},                          // ping
    {"Common", "test_ip_conflict", {"test_ip"}},                  // arping
    {"Common", "test_hostname_conflict", {"server_address"}},     // qarnwin
    {"LDAP", "check_server_address", {"server_address", "dns"}},  // nslookup
    {"Domain", nullptr, kDomainValues},
    {"DomainJoin", nullptr, kDomainValues},
    {"DomainService", nullptr, kDomainValues},
    {"DomainValidation", nullptr, kDomainValues},
};

bool PieceReadsAsOption(std::string piece) {
    StripWhitespaces(piece);
    return !piece.empty() && piece[0] == '-';
}

const ToolValues* ToolValuesOf(const std::string& family, const std::string& method) {
    for (const ToolValues& values : kToolValues) {
        if (family == values.family && (values.method == nullptr || method == values.method)) {
            return &values;
        }
    }
    return nullptr;
}

}  // namespace

bool ToolArgumentGuard::ReadsAsOption(const Json::Value& value) {
    if (value.isArray() || value.isObject()) {
        for (const Json::Value& element : value) {
            if (ReadsAsOption(element)) return true;
        }
        return false;
    }
    if (!value.isString()) return false;
    const std::string text = value.asString();
    if (PieceReadsAsOption(text)) return true;
    for (const std::string& piece : SplitString(text, ',', nullptr)) {
        if (PieceReadsAsOption(piece) || PieceReadsAsOption(piece.substr(piece.rfind('\\') + 1))) {
            return true;
        }
    }
    return false;
}

bool ToolArgumentGuard::Admits(const std::string& family, const std::string& method,
                               const QARN::APIRequest& request, QARN::APIResponse& response) {
    const ToolValues* values = ToolValuesOf(family, method);
    if (values == nullptr) return true;
    const Json::Value missing;
    for (const char* name : values->parameters) {
        if (!ReadsAsOption(request.GetParamRef(name, missing))) continue;
        DS_LOG(LOG_ERR, "%s:%d %s reads as an option", name);
        DS_LOG(LOG_ERR, "%s:%d test fail(err code=%d)", static_cast<int>(kBadParameter));
        response.SetError(kBadParameter, Json::Value());
        return false;
    }
    return true;
}
