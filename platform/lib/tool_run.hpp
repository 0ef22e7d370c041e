// Running a tool inside the platform library: no shell, input on stdin, output collected.
#pragma once

#include <string>
#include <vector>

// Runs argv[0] with input on its stdin and its stdout and stderr collected into output. The
// exit status, or -1 when it could not run or did not end normally.
int RunTool(const std::vector<std::string>& argv, const std::string& input, std::string& output);
