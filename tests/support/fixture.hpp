// Tool output captured from the test bed (tests/fixtures/).
#pragma once

#include <json/value.h>

#include <string>
#include <vector>

std::string Fixture(const std::string& name);
std::vector<std::string> FixtureLines(const std::string& name);

// A JSON case file under tests/fixtures/, or its member group; throws when either is missing.
Json::Value FixtureJson(const std::string& name, const std::string& group = "");
