// A check list (or the join list) as the runner reads it: stages of checks, each check's
// parameter sources, and how the run goes on after an error.
#pragma once

#include <json/value.h>

#include <map>
#include <string>
#include <vector>

struct CheckSpec {
    std::string id;
    std::string api;
    int version = 1;
    std::string method;
    Json::Value params{Json::objectValue};  // name -> source
    bool stopOnError = false;
    bool independent = false;            // may run beside other independent checks
    bool perController = false;          // tries every domain controller: a column of the matrix
    std::vector<std::string> takesFrom;  // ids of the checks its parameters come from
};

struct StageSpec {
    std::string name;
    std::vector<CheckSpec> checks;
};

// The answers so far, by check id, in the host's reply shape.
using Answers = std::map<std::string, Json::Value>;

class CheckList {
  public:
    // False with a reason in error when the document is not a check list.
    bool Parse(const Json::Value& document, std::string& error);

    // The parameters of check: its API's shared parameters, then its own; sources that yield
    // nothing are not sent.
    Json::Value ResolveParams(const CheckSpec& check, const Json::Value& inputs,
                              const Answers& answers) const;

    std::string type;
    std::vector<std::string> inputs;
    std::vector<StageSpec> stages;

  private:
    bool ParseCheck(const Json::Value& node, CheckSpec& check, std::string& error) const;

    Json::Value sharedParams_{Json::objectValue};
};

// The value of one parameter source; null when it yields nothing.
Json::Value ResolveSource(const Json::Value& source, const Json::Value& inputs,
                          const Answers& answers);
