// One entry of an LDAP search or of the LDAP result cache, as the LDAP checks see it.
#pragma once

#include <json/value.h>

#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// The attributes that hold an entry's name and numeric ID in a query result ("" when the result
// names none).
struct ResultAttributes {
    std::string name;
    std::string id;
};

// Attribute name to text; a later value of a name replaces an earlier one. Clearing keeps the
// storage, so that a stream of entries reuses it.
class LDAPEntry {
  public:
    void Set(std::string_view name, std::string_view value);
    void Erase(std::string_view name);
    void Clear() { m_count = 0; }
    bool Empty() const { return m_count == 0; }
    // The attribute's text; null when the entry lacks it. An empty name is never present.
    const std::string* Find(std::string_view name) const;
    size_t Size() const { return m_count; }
    const std::pair<std::string, std::string>& At(size_t index) const { return m_slots[index]; }
    // The entry as a JSON object of strings.
    Json::Value ToJson() const;

  private:
    std::vector<std::pair<std::string, std::string>> m_slots;
    size_t m_count = 0;
};

// Receives the entries of a query or of the cache, one at a time, with the result's attributes.
using EntrySink = std::function<void(const LDAPEntry& entry, const ResultAttributes& attributes)>;

// The name and ID attributes of a query result: result["attribute"]["name"] and ["id"].
ResultAttributes AttributesOf(const Json::Value& result);
