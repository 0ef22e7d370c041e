// Reads the LDAP result cache of a category without building the document: the members the
// entry checks use ("attribute", "server_type", "skip_id_type_check") into a small head object,
// and the entries of the category, one at a time, to a sink. The file is read as the JSON
// library reads it (comments, trailing commas and text after the value allowed; of members named
// twice the last counts).
#pragma once

#include <json/value.h>
#include <stdio.h>

#include <string>

#include "ldap_entry.hpp"

class LDAPCacheReader {
  public:
    LDAPCacheReader(const std::string& path, std::string category);
    ~LDAPCacheReader();
    LDAPCacheReader(const LDAPCacheReader&) = delete;
    LDAPCacheReader& operator=(const LDAPCacheReader&) = delete;

    // Reads the whole file and gives sink the category's entries; false when the file is missing,
    // no regular file (a link, a pipe), or no JSON (sink may have had entries by then). A file
    // whose name and ID attributes follow its entries, or that names the category twice, needs a
    // second call; the first one then gave sink entries that do not count.
    bool Read(const EntrySink& sink);
    bool NeedsSecondPass() const;
    // "attribute", "server_type" and "skip_id_type_check" as the file holds them.
    const Json::Value& Head() const { return m_head; }

  private:
    friend class CacheHandler;

    FILE* m_file = nullptr;
    std::string m_category;
    Json::Value m_head;
    int m_passes = 0;
    // What the first pass found: how often the category is named, which of these members holds
    // the entries (-1: the last one holds none), the entry arrays sent and with which attributes,
    // and the final attributes.
    int m_categoryMembers = 0;
    int m_entriesMember = -1;
    int m_sentMembers = 0;
    int m_sentIndex = -1;
    ResultAttributes m_sentAttributes;
    ResultAttributes m_finalAttributes;
};
