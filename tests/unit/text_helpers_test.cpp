#include <gtest/gtest.h>

#include "call.hpp"
#include "sandbox.hpp"
#include "util.hpp"

namespace {

TEST(TextPieces, StripAndSplit) {
    const std::pair<std::string, std::string> cases[] = {{"\" a b \"", "a b"},
                                                         {"\t\r\n a b \n", "a b"},
                                                         {" \"\" \t", ""},
                                                         {"", ""},
                                                         {"x\"y", "x\"y"}};
    for (auto [text, expected] : cases) {
        StripWhitespaces(text);
        EXPECT_EQ(text, expected);
    }
    // Splitting follows the stream line reader; a filter strips and drops pieces.
    auto keepNonEmpty = [](std::string& piece) {
        StripWhitespaces(piece);
        return !piece.empty();
    };
    using Pieces = std::vector<std::string>;
    EXPECT_EQ(SplitString("a,,b,", ',', nullptr), (Pieces{"a", "", "b"}));
    EXPECT_EQ(SplitString("", ',', nullptr), Pieces{});
    EXPECT_EQ(SplitString("a, ,b", ',', keepNonEmpty), (Pieces{"a", "b"}));
}

// All sections in one map, the last value winning; included files count in place, missing ones
// and cycles end.
TEST(FileLoadKeyValues, AllSectionsAndIncludesInOneMap) {
    Sandbox::WriteFile("/etc/samba/extra.conf",
                       "security = ads\ninclude = /etc/samba/extra.conf\n");
    Sandbox::WriteFile(
        "/etc/samba/smb.conf",
        "[global]\n  workgroup = EXAMPLE\n# realm = COMMENTED\n  security = user\n"
        "  realm = \"EXAMPLE.TEST\"\n; passdb backend = x\ninclude = /etc/samba/extra.conf\n"
        "include = /etc/samba/missing.conf\n[share]\n  passdb backend = tdbsam\nno separator\n");
    const KeyValueMap expected{{"workgroup", "EXAMPLE"},
                               {"security", "ads"},
                               {"realm", "EXAMPLE.TEST"},
                               {"passdb backend", "tdbsam"}};
    std::ifstream input("/etc/samba/smb.conf");
    EXPECT_EQ(FileLoadKeyValues(input), expected);
}

std::string Utf16LE(const std::u16string& text) {
    std::string bytes;
    for (char16_t c : text) bytes.append({static_cast<char>(c & 0xff), static_cast<char>(c >> 8)});
    return bytes;
}

TEST(ReadFileUTF16ToUTF8, DropsTheMarkAndStripsEachLine) {
    using namespace std::string_literals;
    Sandbox::WriteFile("/tmp/GptTmpl.inf",
                       Utf16LE(u"\uFEFF[Unicode]\r\nUnicode=yes\r\n\r\nMinimumPasswordAge = 1 \r\n"
                               u"Name=\u00C5sa\r\nCut\0here\r\n"s +
                               std::u16string(1500, u'x') + u"\n"));
    std::vector<std::string> lines{"kept"};
    ASSERT_EQ(ReadFileUTF16ToUTF8("/tmp/GptTmpl.inf", lines), 0);
    EXPECT_EQ(lines, (std::vector<std::string>{"kept", "[Unicode]", "Unicode=yes", "",
                                               "MinimumPasswordAge = 1", "Name=\u00C5sa", "Cut",
                                               std::string(1023, 'x'), std::string(477, 'x')}));
    EXPECT_EQ(ReadFileUTF16ToUTF8("/tmp/none.inf", lines), -1);
}

// Duplicates go, first occurrences stay; concatenation appends in order and skips null.
TEST(JsonArrays, RemoveDuplicatesAndConcat) {
    Json::Value array = ParseJson(R"(["a", "b", "a", "c", "b"])");
    RemoveDuplicates(array);
    EXPECT_EQ(array, ParseJson(R"(["a", "b", "c"])"));
    Json::Value null;
    RemoveDuplicates(null);
    EXPECT_EQ(null, Json::Value(Json::arrayValue));
    EXPECT_EQ(ConcatJsonArray(Json::Value(), ParseJson(R"(["b"])"), ParseJson(R"(["c", "d"])")),
              ParseJson(R"(["b", "c", "d"])"));
    EXPECT_EQ(ConcatJsonArray(array, array, Json::Value()),
              ParseJson(R"(["a", "b", "c", "a", "b", "c"])"));
}

}  // namespace
