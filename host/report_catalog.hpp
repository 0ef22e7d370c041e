// What the report says about the module's answers, kept as data (report_catalog.json beside
// the check lists): each code's meaning and what to do, each check's title and the command a
// person can run to see a finding, and the rules that name a failure's root cause.
#pragma once

#include <json/value.h>

#include <string>
#include <vector>

class ReportCatalog {
  public:
    bool Load(const std::string& path, std::string& error);
    // Takes document when it has the catalog's shape ("codes" and "checks" objects of objects,
    // commands and root causes with text); false with a reason otherwise.
    bool Set(const Json::Value& document, std::string& error);

    // {"meaning": ..., "action": ..., optionally "links": {KEY: URL}} of code, or null.
    Json::Value Code(int code) const;
    std::string Title(const std::string& method) const;
    // The commands of method filled in from the check's parameters, one per host where the
    // command names {host}; empty when no command fits or a placeholder has no value.
    std::vector<std::string> Commands(const std::string& method, const Json::Value& params,
                                      const std::vector<std::string>& hosts) const;
    const Json::Value& RootCauses() const { return document_["root_causes"]; }

  private:
    Json::Value document_;
};

// text with each {name} (or {name|upper}) replaced by its value; false when one has none.
bool FillTemplate(const std::string& text, const Json::Value& values, std::string& filled);
