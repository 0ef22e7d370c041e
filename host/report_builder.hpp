// Turns a run (the checks with the module's answers) into the report: each check's status,
// code, meaning, what to do, help links, findings and commands; the controller x check matrix;
// root causes by the catalog's rules. Pure: answers in, report out.
#pragma once

#include <json/value.h>

#include <string>
#include <vector>

#include "diagnosis_runner.hpp"
#include "report_catalog.hpp"

class ReportBuilder {
  public:
    explicit ReportBuilder(const ReportCatalog& catalog) : catalog_(catalog) {}

    // run: {"type", "started", "seconds", "bracket", "inputs", "checks": [RecordJson...]}.
    Json::Value Build(const Json::Value& run) const;

    // One check of a run as Build reads it; secret parameters masked.
    static Json::Value RecordJson(const CheckRecord& record);
    // Inputs with secret values masked.
    static Json::Value MaskSecrets(const Json::Value& values);
    // The report's entry of one check, as RecordJson gives it (without root causes).
    Json::Value CheckEntry(const Json::Value& check) const;

  private:
    void AddRootCauses(Json::Value& report) const;
    Json::Value Matrix(const Json::Value& checks) const;

    const ReportCatalog& catalog_;
};

// The hosts an error answer names as failed ("server_list", "ip", "ips", "bad_DCs", ...).
std::vector<std::string> FailedHosts(const Json::Value& details);
