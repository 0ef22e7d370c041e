#include "fixture.hpp"

#include <fstream>
#include <sstream>
#include <stdexcept>

#include "call.hpp"

std::string Fixture(const std::string& name) {
    std::ifstream file(std::string(DSCHECK_SOURCE_DIR) + "/tests/fixtures/" + name);
    if (!file.is_open()) throw std::runtime_error("no fixture " + name);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

std::vector<std::string> FixtureLines(const std::string& name) {
    std::istringstream text(Fixture(name));
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) lines.push_back(line);
    return lines;
}

Json::Value FixtureJson(const std::string& name, const std::string& group) {
    const Json::Value cases = ParseJson(Fixture(name));
    if (group.empty()) return cases;
    if (!cases.isMember(group)) throw std::runtime_error("no group " + group + " in " + name);
    return cases[group];
}
