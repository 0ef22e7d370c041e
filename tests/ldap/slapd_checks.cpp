#include "slapd_checks.hpp"

#include "call.hpp"
#include "sandbox.hpp"

namespace {

const char kPasswd[] =
    "root:x:0:0:root:/root:/bin/bash\n"
    "daemon:x:1:1:daemon:/usr/sbin:/usr/sbin/nologin\n"
    "admin:x:1024:100::/home/admin:/bin/sh\n"
    "\n"
    "broken line\n";
const char kGroup[] =
    "root:x:0:\n"
    "daemon:x:1:\n"
    "users:x:100:\n"
    "administrators:x:101:\n";

}  // namespace

void LayOutCheckSandbox() {
    const std::string& certs = Slapd::SharedCertificates();
    Sandbox::WriteFile("/var/lib/ldap/ldapclient.crt", Sandbox::ReadFile(certs + "/client.crt"));
    Sandbox::WriteFile("/var/lib/ldap/ldapclient.key", Sandbox::ReadFile(certs + "/client.key"),
                       0600);
    Sandbox::WriteFile("/etc/passwd", kPasswd);
    Sandbox::WriteFile("/etc/group", kGroup);
    std::string conf = "TLS_CACERT " + certs + "/ca.crt\n";
    Sandbox::WriteFile("/usr/qarn/etc/openldap/ldap.conf", conf);
    Sandbox::WriteFile("/usr/qarn/etc.defaults/openldap/ldap.conf", conf);
    Sandbox::Remove("/tmp/LDAP_result_user.json");
    Sandbox::Remove("/tmp/LDAP_result_group.json");
}

Json::Value DefaultProfileRules() {
    return ParseJson(R"j([
        {"category": "filter", "attribute": "passwd", "target": "(objectClass=posixAccount)"},
        {"category": "passwd", "attribute": "uid", "target": "uid"},
        {"category": "passwd", "attribute": "uidNumber", "target": "uidNumber"},
        {"category": "filter", "attribute": "group", "target": "(objectClass=posixGroup)"},
        {"category": "group", "attribute": "cn", "target": "cn"},
        {"category": "group", "attribute": "gidNumber", "target": "gidNumber"}])j");
}

Json::Value CheckRequest(const Slapd& server, const std::string& type) {
    Json::Value params = server.BindRequest();
    params["profile_rules"] = DefaultProfileRules();
    params["type"] = type;
    params["forced_get_data"] = true;
    return params;
}
