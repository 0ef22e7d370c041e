// The string table and string list handed across the C interface.
#include <strings.h>

#include <algorithm>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "qlibc.h"

// Keys compare without regard to case, as Samba's parameter names do; entries keep the order in
// which their keys were first set.
struct QLIBC_SZHASH {
    std::vector<std::pair<std::string, std::string>> entries;

    std::vector<std::pair<std::string, std::string>>::iterator Find(const char* key) {
        return std::find_if(entries.begin(), entries.end(), [key](const auto& entry) {
            return strcasecmp(entry.first.c_str(), key) == 0;
        });
    }
};

struct QLIBC_SZLIST {
    std::vector<std::string> items;
};

extern "C" QLIBC_SZHASH* QLIBCSzHashAlloc(int capacity) {
    QLIBC_SZHASH* table = new (std::nothrow) QLIBC_SZHASH;
    if (table != nullptr && capacity > 0) table->entries.reserve(static_cast<size_t>(capacity));
    return table;
}

extern "C" int QLIBCSzHashSetValue(QLIBC_SZHASH* table, const char* key, const char* value) {
    if (table == nullptr || key == nullptr || value == nullptr) return -1;
    auto found = table->Find(key);
    if (found == table->entries.end()) {
        table->entries.emplace_back(key, value);
    } else {
        found->second = value;
    }
    return 0;
}

extern "C" const char* QLIBCSzHashGetValue(const QLIBC_SZHASH* table, const char* key) {
    if (table == nullptr || key == nullptr) return nullptr;
    auto found = const_cast<QLIBC_SZHASH*>(table)->Find(key);
    return found == table->entries.end() ? nullptr : found->second.c_str();
}

extern "C" int QLIBCSzHashRemoveKey(QLIBC_SZHASH* table, const char* key) {
    if (table == nullptr || key == nullptr) return -1;
    auto found = table->Find(key);
    if (found == table->entries.end()) return -1;
    table->entries.erase(found);
    return 0;
}

extern "C" int QLIBCSzHashCount(const QLIBC_SZHASH* table) {
    return table == nullptr ? 0 : static_cast<int>(table->entries.size());
}

extern "C" const char* QLIBCSzHashKeyAt(const QLIBC_SZHASH* table, int index) {
    if (table == nullptr || index < 0 || index >= QLIBCSzHashCount(table)) return nullptr;
    return table->entries[static_cast<size_t>(index)].first.c_str();
}

extern "C" void QLIBCSzHashFree(QLIBC_SZHASH* table) {
    delete table;
}

extern "C" QLIBC_SZLIST* QLIBCSzListAlloc(int capacity) {
    QLIBC_SZLIST* list = new (std::nothrow) QLIBC_SZLIST;
    if (list != nullptr && capacity > 0) list->items.reserve(static_cast<size_t>(capacity));
    return list;
}

extern "C" int QLIBCSzListPush(QLIBC_SZLIST** list, const char* value) {
    if (list == nullptr || *list == nullptr || value == nullptr) return -1;
    (*list)->items.emplace_back(value);
    return static_cast<int>((*list)->items.size());
}

extern "C" const char* QLIBCSzListGet(const QLIBC_SZLIST* list, int index) {
    if (list == nullptr || index < 0 || index >= QLIBCSzListCount(list)) return nullptr;
    return list->items[static_cast<size_t>(index)].c_str();
}

extern "C" int QLIBCSzListCount(const QLIBC_SZLIST* list) {
    return list == nullptr ? 0 : static_cast<int>(list->items.size());
}

extern "C" void QLIBCSzListFree(QLIBC_SZLIST* list) {
    delete list;
}
