// The string table and string list handed across the C interface.
#include <map>
#include <new>
#include <string>
#include <vector>

#include "qlibc.h"

struct QLIBC_SZHASH {
    std::map<std::string, std::string> values;
};

struct QLIBC_SZLIST {
    std::vector<std::string> items;
};

extern "C" QLIBC_SZHASH* QLIBCSzHashAlloc(int /*capacity*/) {
    return new (std::nothrow) QLIBC_SZHASH;
}

extern "C" int QLIBCSzHashSetValue(QLIBC_SZHASH* table, const char* key, const char* value) {
    if (table == nullptr || key == nullptr || value == nullptr) return -1;
    table->values[key] = value;
    return 0;
}

extern "C" const char* QLIBCSzHashGetValue(const QLIBC_SZHASH* table, const char* key) {
    if (table == nullptr || key == nullptr) return nullptr;
    auto found = table->values.find(key);
    return found == table->values.end() ? nullptr : found->second.c_str();
}

extern "C" int QLIBCSzHashRemoveKey(QLIBC_SZHASH* table, const char* key) {
    if (table == nullptr || key == nullptr) return -1;
    return table->values.erase(key) ? 0 : -1;
}

extern "C" int QLIBCSzHashCount(const QLIBC_SZHASH* table) {
    return table == nullptr ? 0 : static_cast<int>(table->values.size());
}

extern "C" const char* QLIBCSzHashKeyAt(const QLIBC_SZHASH* table, int index) {
    if (table == nullptr || index < 0 || index >= QLIBCSzHashCount(table)) return nullptr;
    auto entry = table->values.begin();
    std::advance(entry, index);
    return entry->first.c_str();
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
