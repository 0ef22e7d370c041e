#include "api_table.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

struct ListedRow {
    std::string api;
    int64_t version;
    std::string method;
    bool built;
};

const std::vector<ListedRow> kListedRows = {
#define DS_LISTED(family, version, method, built) \
    {"QARN.Core.DirectoryServiceCheck." #family, version, #method, built},
#define DS_HANDLER(family, version, method, entry, Handler, Check) \
    DS_LISTED(family, version, method, true)
#define DS_FORWARD(family, version, method, entry, target) DS_LISTED(family, version, method, true)
#define DS_PLANNED(family, version, method, entry, Handler, Check) \
    DS_LISTED(family, version, method, false)
#include "api_rows.def"
};

TEST(APITable, HoldsTheBuiltRowsOfTheListInOrderAndEndsWithAZeroRow) {
    ASSERT_EQ(kListedRows.size(), 59u);
    const QARN::WebAPIEntry* row = GetAPITable();
    for (const ListedRow& listed : kListedRows) {
        if (!listed.built) continue;
        ASSERT_NE(row->api, nullptr) << listed.method << " missing";
        EXPECT_EQ(row->api, listed.api);
        EXPECT_EQ(row->version, listed.version);
        EXPECT_EQ(row->method, listed.method);
        EXPECT_NE(row->entry, nullptr);
        ++row;
    }
    EXPECT_EQ(row->api, nullptr);
    EXPECT_EQ(row->version, 0);
    EXPECT_EQ(row->method, nullptr);
    EXPECT_EQ(row->entry, nullptr);
}

}  // namespace
