#include "run_history.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <json/reader.h>
#include <json/writer.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <map>
#include <sstream>

namespace {

const char kSuffix[] = ".json";

bool IsRunName(const std::string& name) {
    if (name.empty() || name.size() > 100 || name[0] == '.') return false;
    return std::all_of(name.begin(), name.end(), [](char c) {
        return isalnum(static_cast<unsigned char>(c)) || c == '-' || c == '_' || c == '.';
    });
}

bool WriteAll(int fd, const std::string& text) {
    size_t written = 0;
    while (written < text.size()) {
        ssize_t n = write(fd, text.data() + written, text.size() - written);
        if (n <= 0) return false;
        written += static_cast<size_t>(n);
    }
    return true;
}

int Rank(const std::string& status) {
    return status == "ok" ? 0 : status == "warning" ? 1 : status == "error" ? 2 : -1;
}

std::string StatusOf(const Json::Value& check) {
    if (check.isNull()) return "";
    return check["status"].asString() +
           (check.isMember("code") ? " " + check["code"].asString() : "");
}

}  // namespace

bool RunHistory::PrepareDirectory(std::string& error) const {
    if (mkdir(directory_.c_str(), 0700) != 0 && errno != EEXIST) {
        error = "cannot create " + directory_;
        return false;
    }
    struct stat status {};
    if (lstat(directory_.c_str(), &status) != 0 || !S_ISDIR(status.st_mode) ||
        status.st_uid != geteuid()) {
        error = directory_ + " is not a directory of ours";
        return false;
    }
    if ((status.st_mode & 077) != 0) chmod(directory_.c_str(), 0700);
    return true;
}

bool RunHistory::Save(const Json::Value& report, std::string& id, std::string& error) const {
    id = report["run"].asString();
    if (!IsRunName(id)) {
        error = "bad run name: " + id;
        return false;
    }
    if (!PrepareDirectory(error)) return false;
    std::string base = id;
    for (int n = 2; access(PathOf(id).c_str(), F_OK) == 0; ++n) id = base + "-" + std::to_string(n);
    std::string temporary = directory_ + "/." + id + ".tmp";
    int fd = open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0) {
        error = "cannot write " + temporary;
        return false;
    }
    Json::Value stored = report;
    stored["run"] = id;
    Json::StreamWriterBuilder writer;
    bool written = WriteAll(fd, Json::writeString(writer, stored) + "\n") && fsync(fd) == 0;
    close(fd);
    if (!written || rename(temporary.c_str(), PathOf(id).c_str()) != 0) {
        unlink(temporary.c_str());
        error = "cannot write " + PathOf(id);
        return false;
    }
    std::vector<std::string> runs = Runs();
    for (size_t i = 0; i + limit_ < runs.size(); ++i) unlink(PathOf(runs[i]).c_str());
    return true;
}

std::vector<std::string> RunHistory::Runs() const {
    std::vector<std::string> names;
    DIR* directory = opendir(directory_.c_str());
    if (directory == nullptr) return names;
    const size_t length = sizeof(kSuffix) - 1;
    while (dirent* entry = readdir(directory)) {
        std::string name = entry->d_name;
        if (name.size() <= length || name.compare(name.size() - length, length, kSuffix) != 0) {
            continue;
        }
        name.resize(name.size() - length);
        if (IsRunName(name)) names.push_back(name);
    }
    closedir(directory);
    // Names start with the start time: sorted, oldest first.
    std::sort(names.begin(), names.end());
    return names;
}

bool RunHistory::Load(const std::string& run, Json::Value& report, std::string& error) const {
    std::vector<std::string> runs = Runs();
    std::vector<std::string> matches;
    for (const std::string& name : runs) {
        if (name == run) matches = {name};
        if (name == run) break;
        if (name.compare(0, run.size(), run) == 0) matches.push_back(name);
    }
    if (run == "last" && !runs.empty()) matches = {runs.back()};
    if (matches.size() != 1) {
        error = matches.empty() ? "no run " + run : "several runs start with " + run;
        return false;
    }
    int fd = open(PathOf(matches[0]).c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    std::string text;
    char buffer[8192];
    ssize_t n = 0;
    while (fd >= 0 && (n = read(fd, buffer, sizeof(buffer))) > 0) text.append(buffer, n);
    if (fd >= 0) close(fd);
    Json::CharReaderBuilder builder;
    std::istringstream stream(text);
    std::string errors;
    if (fd < 0 || n < 0 || !Json::parseFromStream(builder, stream, &report, &errors)) {
        error = "cannot read run " + matches[0];
        return false;
    }
    return true;
}

Json::Value RunHistory::Diff(const Json::Value& before, const Json::Value& after) {
    std::map<std::string, Json::Value> earlier;
    for (const Json::Value& check : before["checks"]) earlier[check["id"].asString()] = check;
    Json::Value diff(Json::objectValue);
    diff["before"] = before["run"];
    diff["after"] = after["run"];
    diff["changes"] = Json::Value(Json::arrayValue);
    auto add = [&diff](const std::string& id, const Json::Value& was, const Json::Value& now) {
        std::string from = StatusOf(was), to = StatusOf(now);
        if (from == to) return;
        Json::Value change;
        change["id"] = id;
        change["before"] = from;
        change["after"] = to;
        int a = Rank(was["status"].asString()), b = Rank(now["status"].asString());
        change["change"] = was.isNull()                 ? "new"
                           : now.isNull()               ? "gone"
                           : (a < 0 || b < 0 || a == b) ? "changed"
                           : b < a                      ? "better"
                                                        : "worse";
        diff["changes"].append(change);
    };
    for (const Json::Value& check : after["checks"]) {
        std::string id = check["id"].asString();
        add(id, earlier.count(id) ? earlier[id] : Json::Value(), check);
        earlier.erase(id);
    }
    for (const auto& gone : earlier) add(gone.first, gone.second, Json::Value());
    return diff;
}

std::string RunHistory::DiffText(const Json::Value& diff) {
    std::ostringstream out;
    out << "from " << diff["before"].asString() << " to " << diff["after"].asString() << '\n';
    if (diff["changes"].empty()) out << "  no change\n";
    for (const Json::Value& change : diff["changes"]) {
        char line[256];
        snprintf(line, sizeof(line), "  %-8s %-20s %-16s -> %s\n", change["change"].asCString(),
                 change["id"].asCString(),
                 change["before"].asString().empty() ? "-" : change["before"].asCString(),
                 change["after"].asString().empty() ? "-" : change["after"].asCString());
        out << line;
    }
    return out.str();
}

std::string RunHistory::ListText(const std::vector<Json::Value>& reports,
                                 const std::vector<std::string>& names) {
    std::ostringstream out;
    for (size_t i = 0; i < reports.size(); ++i) {
        const Json::Value& counts = reports[i]["counts"];
        char line[256];
        snprintf(line, sizeof(line), "%-40s %-16s %-8s ok %d, warning %d, error %d\n",
                 names[i].c_str(), reports[i]["type"].asCString(), reports[i]["status"].asCString(),
                 counts["ok"].asInt(), counts["warning"].asInt(), counts["error"].asInt());
        out << line;
    }
    return out.str();
}
