#include "api_table.hpp"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <tuple>

namespace {

std::vector<const QARN::WebAPIEntry*> Rows() {
    std::vector<const QARN::WebAPIEntry*> rows;
    for (const QARN::WebAPIEntry* row = GetAPITable(); row->api != nullptr; ++row) {
        rows.push_back(row);
    }
    return rows;
}

TEST(APITable, SameAddressOnEveryCall) {
    EXPECT_EQ(GetAPITable(), GetAPITable());
}

TEST(APITable, RowsAreCompleteAndUnique) {
    std::set<std::tuple<std::string, int64_t, std::string>> seen;
    for (const QARN::WebAPIEntry* row : Rows()) {
        ASSERT_NE(row->method, nullptr);
        ASSERT_NE(row->entry, nullptr);
        EXPECT_EQ(std::string(row->api).rfind("QARN.Core.DirectoryServiceCheck.", 0), 0u);
        EXPECT_TRUE(row->version == 1 || row->version == 2);
        EXPECT_TRUE(seen.emplace(row->api, row->version, row->method).second) << row->method;
    }
}

TEST(APITable, ClosedByAnAllZeroRow) {
    std::vector<const QARN::WebAPIEntry*> rows = Rows();
    const QARN::WebAPIEntry& last = GetAPITable()[rows.size()];
    EXPECT_EQ(last.version, 0);
    EXPECT_EQ(last.method, nullptr);
    EXPECT_EQ(last.entry, nullptr);
}

TEST(APITable, KeepsTheOrderOfTheFullTable) {
    // The methods built so far, in the order of the full table.
    const std::vector<std::string> order = {
        "start_progress",       "update_progress",        "end_progress",
        "check_auth_info",      "check_profile",          "check_user_name_empty",
        "check_user_name_dup",  "check_user_id_empty",    "check_user_id_type",
        "check_user_id_dup",    "check_group_name_empty", "check_group_name_dup",
        "check_group_id_empty", "check_group_id_type",    "check_group_id_dup",
        "check_samba_schema",   "check_samba_ntpwd",      "generate_issue"};
    std::vector<std::string> methods;
    for (const QARN::WebAPIEntry* row : Rows()) {
        for (const std::string& known : order) {
            if (known == row->method) methods.push_back(known);
        }
    }
    EXPECT_EQ(methods, order);
}

}  // namespace
