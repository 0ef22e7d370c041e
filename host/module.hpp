// A loaded check module and its API table.
#pragma once

#include <string>
#include <vector>

#include "webapi_entry.hpp"

class Module {
  public:
    Module() = default;
    ~Module();
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;

    // Loads the shared object and reads its table; false with a reason in error.
    bool Load(const std::string& path, std::string& error);
    // The row of api, method and version, or null.
    const QARN::WebAPIEntry* Find(const std::string& api, const std::string& method,
                                  int version) const;
    const std::vector<const QARN::WebAPIEntry*>& Rows() const { return rows_; }
    // The entry function's name as the module exports it.
    static std::string EntryName(const QARN::WebAPIEntry& row);

  private:
    void* handle_ = nullptr;
    std::vector<const QARN::WebAPIEntry*> rows_;
};
