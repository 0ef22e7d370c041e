// The sandbox the LDAP checks run in, and their requests to the slapd instances.
#pragma once

#include <json/value.h>

#include <string>

#include "slapd.hpp"

// Lays out the local accounts (users root, daemon and admin with ID 1024, a blank and a broken
// line; groups root, daemon, users and administrators), the platform's LDAP configuration and
// its defaults trusting the instances' CA, and the client certificate in /var/lib/ldap; removes
// the checks' result caches.
void LayOutCheckSandbox();

// The profile rules of a posixAccount / posixGroup directory: uid, uidNumber, cn, gidNumber.
Json::Value DefaultProfileRules();
// A check request for server of type ("user" or "group"), bound with the full bind DN, with the
// default rules, asking for fresh data.
Json::Value CheckRequest(const Slapd& server, const std::string& type = "user");
