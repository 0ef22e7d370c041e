// The report as people and monitoring systems read it: text, JSON, a Nagios plugin status line
// with performance data, and Prometheus text exposition for node_exporter's textfile collector.
#pragma once

#include <json/value.h>

#include <string>

enum RunExitStatus {
    kRunOk = 0,
    kRunWarning = 1,
    kRunError = 2,
    kRunUnknown = 3,
    kRunInterrupted = 130
};

class ReportFormatter {
  public:
    enum class Format { kText, kJson, kNagios, kPrometheus };

    // False when name is not a format.
    static bool ParseFormat(const std::string& name, Format& format);
    static std::string Render(const Json::Value& report, Format format);
    static RunExitStatus ExitStatus(const Json::Value& report);

    static std::string Text(const Json::Value& report);
    static std::string JsonText(const Json::Value& report);
    // One line, no indentation, no newline: the form of "dscheck call" and the web-API.
    static std::string CompactText(const Json::Value& value);
    static std::string Nagios(const Json::Value& report);
    static std::string Prometheus(const Json::Value& report);
};
