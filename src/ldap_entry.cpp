#include "ldap_entry.hpp"

void LDAPEntry::Set(std::string_view name, std::string_view value) {
    for (size_t i = 0; i < m_count; ++i) {
        if (m_slots[i].first == name) {
            m_slots[i].second.assign(value);
            return;
        }
    }
    if (m_count == m_slots.size()) m_slots.emplace_back();
    m_slots[m_count].first.assign(name);
    m_slots[m_count].second.assign(value);
    ++m_count;
}

void LDAPEntry::Erase(std::string_view name) {
    for (size_t i = 0; i < m_count; ++i) {
        if (m_slots[i].first == name) {
            std::swap(m_slots[i], m_slots[--m_count]);
            return;
        }
    }
}

const std::string* LDAPEntry::Find(std::string_view name) const {
    if (name.empty()) return nullptr;
    for (size_t i = 0; i < m_count; ++i) {
        if (m_slots[i].first == name) return &m_slots[i].second;
    }
    return nullptr;
}

Json::Value LDAPEntry::ToJson() const {
    Json::Value object(Json::objectValue);
    for (size_t i = 0; i < m_count; ++i) object[m_slots[i].first] = m_slots[i].second;
    return object;
}

ResultAttributes AttributesOf(const Json::Value& result) {
    ResultAttributes attributes;
    if (!result.isObject()) return attributes;
    const Json::Value& attribute = result["attribute"];
    if (!attribute.isObject()) return attributes;
    if (attribute["name"].isString()) attributes.name = attribute["name"].asString();
    if (attribute["id"].isString()) attributes.id = attribute["id"].asString();
    return attributes;
}
