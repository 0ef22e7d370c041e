// Spies on the tools the module runs, in the sandbox: fakes that record their arguments and
// fail, and whether processes a tool started are still running.
#pragma once

#include <string>

// Replaces every tool the module runs with a fake that records its arguments and fails;
// forgets the runs so far.
void SpyOnTools();

// The arguments the fakes ran with since SpyOnTools, a line a run.
std::string SpiedToolRuns();

// True when a process whose name matches pattern (pgrep's) still runs after up to a second.
bool ProcessOutlives(const std::string& pattern);
