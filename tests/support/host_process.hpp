// The host as users run it: build/dscheck in a process of its own.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

struct HostRun {
    int exitStatus;
    std::string output;
};

// Runs dscheck with args, standard input from the file input, and collects its standard output.
// With background, starts it with standard output discarded and gives its PID instead.
HostRun RunHost(std::vector<std::string> args, pid_t* background = nullptr,
                const char* input = "/dev/null");

// Lays out the host's files in the sandbox: the check list of domain_pretest from the fixture
// named, the report catalog, the settings directory.
void InstallPretest(const std::string& fixture);
