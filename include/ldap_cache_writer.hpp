// Writes the LDAP result cache of a category as the entries of the query arrive: the result
// object with the entries streamed into its category member, replaced in one step when complete.
#pragma once

#include <json/value.h>

#include <set>
#include <string>

#include "atomic_file.hpp"
#include "ldap_entry.hpp"

class LDAPCacheWriter {
  public:
    LDAPCacheWriter(const std::string& path, std::string category);

    // The first call writes the members result holds so far, then each call one entry.
    void Add(const Json::Value& result, const LDAPEntry& entry);
    // Writes the members of result not written yet and puts the file in place; true on success.
    // Without a commit the file is dropped.
    bool Commit(const Json::Value& result);

  private:
    void Begin(const Json::Value& result);
    void WriteMembers(const Json::Value& result, bool afterEntries);
    void WriteString(std::string_view text);

    AtomicFile m_file;
    std::string m_category;
    std::set<std::string> m_written;
    size_t m_entries = 0;
    std::string m_text;
};
