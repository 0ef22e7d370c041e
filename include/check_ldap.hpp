// The LDAP checks: can the server be reached and bound, does the profile fit its entries, and do
// its users and groups have names and IDs the local accounts can live with. Answers through the
// response itself.
#pragma once

#include <json/value.h>

#include <set>
#include <string>
#include <vector>

#include "api_request.hpp"
#include "api_response.hpp"
#include "error_code.hpp"
#include "ldap_entry.hpp"
#include "qarnldap.h"

class LDAPTestHandler {
  public:
    LDAPTestHandler(QARN::APIRequest* request, QARN::APIResponse* response);
    // Switches the client certificate of the LDAP configuration back off.
    ~LDAPTestHandler();

    LDAPTestHandler(const LDAPTestHandler&) = delete;
    LDAPTestHandler& operator=(const LDAPTestHandler&) = delete;

    // Server, bind and profile.
    void TestServerAddress();
    void TestAuthInfo();
    void TestProfile();

    // Entries, from the profile's result cache or a fresh query.
    void TestNameEmpty();
    void TestIdEmpty();
    void TestIdType();
    void TestNameDup();
    void TestIdDup();
    void TestSambaNTPwd();
    void TestSambaSchema();

    // Request parameters into the fields and the connection record; 0, or -1 after answering.
    int GetParams();
    // Search request and client-certificate setting; 0, or -1 after answering.
    int InitRequest();
    // A flag given as a JSON bool or as the string "true".
    bool GetParamBoolType(std::string name);
    // Sets the target of an existing profile rule; never adds a rule.
    void SetProfile(const std::string& category, const std::string& attribute,
                    const std::string& target);
    // The target of a profile rule, without "HASH(...)"; fallback when there is none.
    std::string GetProfile(const std::string& category, const std::string& attribute,
                           const std::string& fallback);
    void SetFilter(std::string filter);
    int SetAttribute(std::vector<std::string> names);
    // Runs the search of a category ("user", "group", "any", "sambaDomain"): the result's members
    // into *out, its entries to sink as they arrive. False when the request has been answered with
    // an error.
    bool QueryData(const std::string& category, Json::Value* out, const EntrySink& sink);
    // Gives sink one entry at a time; the LDAP result code (size limit counts as 0).
    int ParseResult(const ResultAttributes& attributes, const EntrySink& sink);
    void ReplyProfileError(const std::string& category, const Json::Value& result,
                           Json::Value& reply);

    // Names (kind "name") or numeric IDs (kind "id") of a local account file into *values.
    static int ReadLocalAccounts(const std::string& path, const std::string& kind,
                                 std::set<std::string>* values);

  private:
    // Puts an entry on the list of an entry check when it is troublesome.
    using EntryLister = std::function<void(const LDAPEntry& entry,
                                           const ResultAttributes& attributes, Json::Value* list)>;

    // The category's entries that lister lists, read from the cache unless "forced_get_data"
    // (a cache that cannot be read is replaced by a live query), and the result's other members;
    // false when the request has been answered.
    bool ListEntries(const std::string& category, const EntryLister& lister, Json::Value* result,
                     Json::Value* list);
    std::string CategoryParam();
    // Lists the entries whose name or ID (kind) is missing or empty.
    void ReplyEmptyAttribute(std::string ResultAttributes::*kind, ErrorCode userCode,
                             ErrorCode groupCode);
    // The entry list answer of an entry check; success when the list is empty.
    void ReplyList(const std::string& category, int code, const Json::Value& list, bool withType,
                   bool withPlural);

    QARN::APIRequest* m_request;
    QARN::APIResponse* m_response;
    Json::Value m_profileRules;
    std::string m_serverAddress;
    std::string m_baseDN;
    std::string m_encryption;
    std::string m_bindDN;
    std::string m_bindPW;
    std::string m_filter;
    bool m_hashedID = false;
    bool m_clientCertificate = false;
    QARN_LDAP_CONN m_connection = {};
    QARN_LDAP_SEARCH_REQ m_searchRequest = {};
    QARN_LDAP_SEARCH_RESULT m_searchResult = {};
};
