// The reports of past runs under /var/lib/dscheck/ (readable by root only): a bounded number,
// the oldest dropped, each written atomically; listed, shown and compared.
#pragma once

#include <json/value.h>

#include <string>
#include <vector>

class RunHistory {
  public:
    explicit RunHistory(std::string directory, size_t limit = 50)
        : directory_(std::move(directory)), limit_(limit) {}

    // Stores report under its "run" name (made unique); the name in id.
    bool Save(const Json::Value& report, std::string& id, std::string& error) const;
    // The stored run names, oldest first.
    std::vector<std::string> Runs() const;
    // run: a name, a unique prefix of one, or "last".
    bool Load(const std::string& run, Json::Value& report, std::string& error) const;

    // What changed from before to after, check by check: "better", "worse", "changed",
    // "new", "gone".
    static Json::Value Diff(const Json::Value& before, const Json::Value& after);
    static std::string DiffText(const Json::Value& diff);
    static std::string ListText(const std::vector<Json::Value>& reports,
                                const std::vector<std::string>& names);

  private:
    bool PrepareDirectory(std::string& error) const;
    std::string PathOf(const std::string& id) const { return directory_ + "/" + id + ".json"; }

    std::string directory_;
    size_t limit_;
};
