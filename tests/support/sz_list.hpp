// Platform string lists for tests.
#pragma once

#include <initializer_list>

#include "qlibc.h"

// A list holding texts, in order; the caller frees it with QLIBCSzListFree.
inline QLIBC_SZLIST* SzList(std::initializer_list<const char*> texts) {
    QLIBC_SZLIST* list = QLIBCSzListAlloc(4);
    for (const char* text : texts) QLIBCSzListPush(&list, text);
    return list;
}
