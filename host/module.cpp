#include "module.hpp"

#include <cxxabi.h>
#include <dlfcn.h>

#include <cstdlib>
#include <memory>

Module::~Module() {
    if (handle_ != nullptr) dlclose(handle_);
}

bool Module::Load(const std::string& path, std::string& error) {
    handle_ = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle_ == nullptr) {
        error = dlerror();
        return false;
    }
    auto getTable = reinterpret_cast<GetAPITableFunction>(dlsym(handle_, "GetAPITable"));
    if (getTable == nullptr) {
        error = path + ": no GetAPITable";
        return false;
    }
    for (const QARN::WebAPIEntry* row = getTable(); row != nullptr && row->api != nullptr; ++row) {
        rows_.push_back(row);
    }
    return true;
}

const QARN::WebAPIEntry* Module::Find(const std::string& api, const std::string& method,
                                      int version) const {
    for (const QARN::WebAPIEntry* row : rows_) {
        if (api == row->api && method == row->method && version == row->version) return row;
    }
    return nullptr;
}

std::string Module::EntryName(const QARN::WebAPIEntry& row) {
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(row.entry), &info) == 0 || info.dli_sname == nullptr) {
        return "?";
    }
    int status = 0;
    std::unique_ptr<char, decltype(&free)> demangled(
        abi::__cxa_demangle(info.dli_sname, nullptr, nullptr, &status), &free);
    std::string name = (status == 0 && demangled) ? demangled.get() : info.dli_sname;
    return name.substr(0, name.find('('));
}
