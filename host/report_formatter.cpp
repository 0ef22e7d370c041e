#include "report_formatter.hpp"

#include <json/writer.h>

#include <cstdio>
#include <sstream>

namespace {

const size_t kListedItems = 10;

std::string Upper(std::string text) {
    for (char& c : text) c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
    return text;
}

std::string Compact(const Json::Value& value) {
    Json::StreamWriterBuilder writer;
    writer["indentation"] = "";
    return Json::writeString(writer, value);
}

std::string Seconds(const Json::Value& value) {
    char text[32];
    snprintf(text, sizeof(text), "%.1f s", value.asDouble());
    return text;
}

// A finding's value in a line: lists joined, long lists cut.
std::string FindingText(const Json::Value& value) {
    if (value.isString()) return value.asString();
    if (!value.isArray()) return Compact(value);
    std::string text;
    for (Json::ArrayIndex i = 0; i < value.size() && i < kListedItems; ++i) {
        text += (i ? ", " : "") + FindingText(value[i]);
    }
    if (value.size() > kListedItems) {
        text += " ... and " + std::to_string(value.size() - kListedItems) + " more";
    }
    return text;
}

std::string StatusWord(const Json::Value& check) {
    const std::string status = check["status"].asString();
    if (status == "ok") return "ok";
    if (status == "unavailable") return "n/a";
    if (status == "error" || status == "warning") return Upper(status);
    return status;
}

void CheckText(const Json::Value& check, std::ostringstream& out) {
    char head[160];
    snprintf(head, sizeof(head), "  %-8s %-20s %s", StatusWord(check).c_str(),
             check["id"].asCString(), check["title"].asCString());
    out << head;
    if (check.isMember("code")) out << "  [" << check["code"].asInt() << "]";
    const std::string status = check["status"].asString();
    if (status == "unavailable") out << "  (not offered by this module)";
    if (status == "skipped") out << "  (not run: " << check["stopped_by"].asString() << " failed)";
    out << '\n';
    const std::string indent = "           ";
    if (check.isMember("meaning")) out << indent << check["meaning"].asString() << '\n';
    if (check.isMember("action"))
        out << indent << "What to do: " << check["action"].asString() << '\n';
    for (const Json::Value& text : check["blocked_by"]) {
        out << indent << "Blocked by: " << text.asString() << '\n';
    }
    if (status != "ok" && check["findings"].isObject()) {
        for (const std::string& key : check["findings"].getMemberNames()) {
            out << indent << key << ": " << FindingText(check["findings"][key]) << '\n';
        }
    }
    for (const Json::Value& command : check["commands"]) {
        out << indent << "See for yourself: " << command.asString() << '\n';
    }
    for (const std::string& key : check["links"].getMemberNames()) {
        out << indent << "Help (" << key << "): " << check["links"][key].asString() << '\n';
    }
}

void MatrixText(const Json::Value& matrix, std::ostringstream& out) {
    if (matrix["checks"].empty() || matrix["controllers"].empty()) return;
    out << "\nDomain controllers\n";
    char cell[64];
    snprintf(cell, sizeof(cell), "  %-18s", "");
    out << cell;
    for (const Json::Value& id : matrix["checks"]) {
        snprintf(cell, sizeof(cell), " %-16s", id.asCString());
        out << cell;
    }
    out << '\n';
    for (const Json::Value& host : matrix["controllers"]) {
        snprintf(cell, sizeof(cell), "  %-18s", host.asCString());
        out << cell;
        for (const Json::Value& id : matrix["checks"]) {
            std::string value = matrix["cells"][host.asString()][id.asString()].asString();
            snprintf(cell, sizeof(cell), " %-16s", value == "fail" ? "FAIL" : value.c_str());
            out << cell;
        }
        out << '\n';
    }
}

std::string CountsText(const Json::Value& counts) {
    std::string text;
    for (const char* status : {"ok", "warning", "error", "unavailable", "skipped", "cancelled"}) {
        int count = counts[status].asInt();
        if (count == 0) continue;
        text += (text.empty() ? "" : ", ") + std::to_string(count) + " " + status;
    }
    return text;
}

// A Prometheus label value: backslash, quote and newline escaped.
std::string LabelValue(const std::string& text) {
    std::string escaped;
    for (char c : text) {
        if (c == '\\' || c == '"') escaped += '\\';
        escaped += c == '\n' ? std::string("\\n") : std::string(1, c);
    }
    return escaped;
}

}  // namespace

bool ReportFormatter::ParseFormat(const std::string& name, Format& format) {
    if (name == "text")
        format = Format::kText;
    else if (name == "json")
        format = Format::kJson;
    else if (name == "nagios")
        format = Format::kNagios;
    else if (name == "prometheus")
        format = Format::kPrometheus;
    else
        return false;
    return true;
}

std::string ReportFormatter::Render(const Json::Value& report, Format format) {
    switch (format) {
        case Format::kText:
            return Text(report);
        case Format::kJson:
            return JsonText(report);
        case Format::kNagios:
            return Nagios(report);
        case Format::kPrometheus:
            return Prometheus(report);
    }
    return "";
}

RunExitStatus ReportFormatter::ExitStatus(const Json::Value& report) {
    if (!report["complete"].asBool()) return kRunInterrupted;
    const std::string status = report["status"].asString();
    return status == "ok" ? kRunOk : status == "warning" ? kRunWarning : kRunError;
}

std::string ReportFormatter::Text(const Json::Value& report) {
    std::ostringstream out;
    out << "dscheck " << report["type"].asString() << "  " << report["started"].asString() << "  "
        << Seconds(report["seconds"]) << "  run " << report["run"].asString() << '\n';
    out << "Result: " << Upper(report["status"].asString()) << " (" << CountsText(report["counts"])
        << ")";
    if (!report["complete"].asBool()) out << "  interrupted";
    if (report["bracket"].isString()) out << "\nRun bracket: " << report["bracket"].asString();
    out << '\n';
    std::string stage;
    for (const Json::Value& check : report["checks"]) {
        if (check["stage"].asString() != stage) {
            stage = check["stage"].asString();
            out << '\n' << stage << '\n';
        }
        CheckText(check, out);
    }
    MatrixText(report["controllers"], out);
    if (!report["root_causes"].empty()) {
        out << "\nRoot causes\n";
        for (const Json::Value& cause : report["root_causes"]) {
            out << "  " << cause["check"].asString() << ": blocked by: " << cause["text"].asString()
                << '\n';
        }
    }
    return out.str();
}

std::string ReportFormatter::JsonText(const Json::Value& report) {
    Json::StreamWriterBuilder writer;
    writer["indentation"] = "  ";
    return Json::writeString(writer, report) + "\n";
}

std::string ReportFormatter::CompactText(const Json::Value& value) {
    Json::StreamWriterBuilder writer;
    writer["indentation"] = "";
    return Json::writeString(writer, value);
}

std::string ReportFormatter::Nagios(const Json::Value& report) {
    static const char* const kWords[] = {"OK", "WARNING", "CRITICAL", "UNKNOWN"};
    RunExitStatus status = ExitStatus(report);
    std::ostringstream out;
    out << "DSCHECK " << kWords[status == kRunInterrupted ? kRunUnknown : status] << " - "
        << report["type"].asString() << ": " << CountsText(report["counts"]);
    std::string failed;
    for (const Json::Value& check : report["checks"]) {
        if (!check.isMember("code")) continue;
        failed +=
            (failed.empty() ? "" : ", ") + check["id"].asString() + " " + check["code"].asString();
    }
    if (!failed.empty()) out << " (" << failed << ")";
    out << " |";
    for (const char* status : {"ok", "warning", "error", "unavailable", "skipped"}) {
        out << ' ' << status << '=' << report["counts"][status].asInt();
    }
    char seconds[32];
    snprintf(seconds, sizeof(seconds), "%.3f", report["seconds"].asDouble());
    out << " time=" << seconds << "s\n";
    return out.str();
}

std::string ReportFormatter::Prometheus(const Json::Value& report) {
    static const char* const kLevels[] = {"error", "warning"};
    const std::string type = LabelValue(report["type"].asString());
    std::ostringstream out;
    out << "# HELP dscheck_check_status State of one check: 0 ok, 1 warning, 2 error, "
           "3 not run.\n# TYPE dscheck_check_status gauge\n";
    for (const Json::Value& check : report["checks"]) {
        const std::string status = check["status"].asString();
        int value = status == "ok" ? 0 : status == "warning" ? 1 : status == "error" ? 2 : 3;
        std::string level = check.isMember("level") ? kLevels[check["level"].asInt() == 1] : "";
        out << "dscheck_check_status{type=\"" << type << "\",check=\""
            << LabelValue(check["id"].asString()) << "\",method=\""
            << LabelValue(check["method"].asString()) << "\",code=\""
            << (check.isMember("code") ? check["code"].asString() : "0") << "\",level=\""
            << (level.empty() ? status : level) << "\"} " << value << '\n';
    }
    out << "# HELP dscheck_run_status State of the run: 0 ok, 1 warning, 2 error.\n"
           "# TYPE dscheck_run_status gauge\n"
        << "dscheck_run_status{type=\"" << type << "\"} " << std::min<int>(ExitStatus(report), 3)
        << '\n';
    out << "# HELP dscheck_run_duration_seconds Wall time of the run.\n"
           "# TYPE dscheck_run_duration_seconds gauge\n"
        << "dscheck_run_duration_seconds{type=\"" << type << "\"} " << report["seconds"].asDouble()
        << '\n';
    out << "# HELP dscheck_run_timestamp_seconds When the run started.\n"
           "# TYPE dscheck_run_timestamp_seconds gauge\n"
        << "dscheck_run_timestamp_seconds{type=\"" << type << "\"} "
        << report["started_epoch"].asInt64() << '\n';
    return out.str();
}
