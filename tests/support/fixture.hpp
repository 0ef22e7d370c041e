// Tool output captured from the test bed (tests/fixtures/).
#pragma once

#include <string>
#include <vector>

std::string Fixture(const std::string& name);
std::vector<std::string> FixtureLines(const std::string& name);
