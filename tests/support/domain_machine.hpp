// A machine laid out in the sandbox from a JSON description, and the module's entries by name.
#pragma once

#include <json/value.h>

#include <memory>
#include <string>

#include "dns_server.hpp"
#include "webapi_entry.hpp"

// The entry of "Family.method", version 1, in the module's API table; throws when there is none.
QARN::APIEntryFunction EntryOf(const std::string& name);

// Lays out what the description names: "remove" (paths) removed, "dirs" created, "files" (path:
// content) written, "tools" (path: body) as fake tools, "env" (name: value) set, and "dns"
// ({"zone", "hosts": {name: [addresses]}}) started as the system's DNS server for as long as the
// machine lives.
class SandboxMachine {
  public:
    explicit SandboxMachine(const Json::Value& description);

  private:
    void StartDns(const Json::Value& dns);
    std::unique_ptr<DnsServer> m_dns;
};
