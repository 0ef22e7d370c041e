#include "domain_machine.hpp"

#include <cstdlib>
#include <stdexcept>

#include "fixture.hpp"
#include "sandbox.hpp"

namespace {

// A fake tool's script: written out, or "@NAME" for the shared tests/fixtures/tools/NAME.sh.
std::string ToolScript(const Json::Value& body) {
    const std::string text = body.asString();
    if (text.rfind('@', 0) != 0) return text;
    return Fixture("tools/" + text.substr(1) + ".sh");
}

template <class Action>
void ForEachMember(const Json::Value& object, Action action) {
    for (const std::string& name : object.getMemberNames()) action(name, object[name]);
}

std::vector<std::string> Strings(const Json::Value& array) {
    std::vector<std::string> strings;
    for (const Json::Value& text : array) strings.push_back(text.asString());
    return strings;
}

}  // namespace

QARN::APIEntryFunction EntryOf(const std::string& name) {
    const size_t dot = name.find('.');
    const std::string api = "QARN.Core.DirectoryServiceCheck." + name.substr(0, dot);
    const std::string method = name.substr(dot + 1);
    for (const QARN::WebAPIEntry* row = GetAPITable(); row->api != nullptr; ++row) {
        if (row->api == api && row->method == method && row->version == 1) return row->entry;
    }
    throw std::invalid_argument("no entry " + name);
}

SandboxMachine::SandboxMachine(const Json::Value& description) {
    for (const std::string& path : Strings(description["remove"])) Sandbox::Remove(path);
    for (const std::string& dir : Strings(description["dirs"])) {
        Sandbox::Run({"/bin/mkdir", "-p", dir});
    }
    ForEachMember(description["files"], [](const std::string& path, const Json::Value& content) {
        Sandbox::WriteFile(path, content.asString());
    });
    ForEachMember(description["tools"], [](const std::string& path, const Json::Value& body) {
        Sandbox::WriteFakeTool(path, ToolScript(body));
    });
    ForEachMember(description["env"], [](const std::string& name, const Json::Value& value) {
        setenv(name.c_str(), value.asCString(), 1);
    });
    if (description.isMember("dns")) StartDns(description["dns"]);
}

void SandboxMachine::StartDns(const Json::Value& dns) {
    m_dns = std::make_unique<DnsServer>(dns["zone"].asString());
    ForEachMember(dns["hosts"], [this](const std::string& name, const Json::Value& addresses) {
        m_dns->AddHost(name, Strings(addresses));
    });
    Sandbox::WriteFile("/etc/resolv.conf", std::string("nameserver ") + DnsServer::kAddress + "\n");
    m_dns->Start();
}
