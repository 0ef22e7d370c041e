#include <boost/locale/encoding_utf.hpp>
#include <cwctype>
#include <string>

#include "qlibc.h"

namespace {

std::u32string FoldedCase(const char* text) {
    std::u32string wide = boost::locale::conv::utf_to_utf<char32_t>(std::string(text));
    for (char32_t& c : wide) c = static_cast<char32_t>(std::towlower(static_cast<wint_t>(c)));
    return wide;
}

}  // namespace

extern "C" int QLIBCUnicodeUTF8StrCaseCmp(const char* a, const char* b) {
    if (a == nullptr || b == nullptr) return a == b ? 0 : (a == nullptr ? -1 : 1);
    return FoldedCase(a).compare(FoldedCase(b));
}
