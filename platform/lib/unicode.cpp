#include <locale.h>
#include <wctype.h>

#include <boost/locale/encoding_utf.hpp>
#include <string>

#include "qlibc.h"

namespace {

// Lower case by the Unicode tables, whatever locale the process runs in (the "C" locale would
// fold ASCII only).
wint_t Lower(wint_t c) {
    static const locale_t unicode = newlocale(LC_CTYPE_MASK, "C.UTF-8", static_cast<locale_t>(0));
    return unicode != static_cast<locale_t>(0) ? towlower_l(c, unicode) : towlower(c);
}

std::u32string FoldedCase(const char* text) {
    std::u32string wide = boost::locale::conv::utf_to_utf<char32_t>(std::string(text));
    for (char32_t& c : wide) c = static_cast<char32_t>(Lower(static_cast<wint_t>(c)));
    return wide;
}

}  // namespace

extern "C" int QLIBCUnicodeUTF8StrCaseCmp(const char* a, const char* b) {
    if (a == nullptr || b == nullptr) return a == b ? 0 : (a == nullptr ? -1 : 1);
    return FoldedCase(a).compare(FoldedCase(b));
}
