// A private machine view for tests: own mount, network, PID and UTS namespaces, copy-on-write
// overlays over /etc, /usr, /var and /dev, fresh tmpfs over /tmp and /run, and a system log
// that the test reads. Whatever a test writes
// under the system's real paths stays inside the test process.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

class Sandbox {
  public:
    // Call first thing in main, before any thread starts. Returns in a child that is PID 1 of a
    // new PID namespace; the calling process waits and exits with the child's status. The
    // directories in keep stay reachable even below /tmp or /run.
    static void Enter(const std::vector<std::string>& keep);

    // For end-to-end tests in a test bed's view: an own mount namespace in which /dev is
    // copy-on-write and /dev/log is the test's, everything else shared. Call first thing in main.
    static void CaptureSystemLog();

    // Files written into the view; parent directories are created.
    static void WriteFile(const std::string& path, const std::string& content, mode_t mode = 0644);
    // An executable "#!/bin/sh" script with body.
    static void WriteScript(const std::string& path, const std::string& body);
    // A fake program: appends its arguments ("$*", a line a run) to /tmp/NAME.args, NAME being
    // the path's last part, then runs body.
    static void WriteFakeTool(const std::string& path, const std::string& body);
    // The arguments the fake NAME ran with, a line a run; empty when it did not run.
    static std::string FakeToolArgs(const std::string& name);
    // Forgets the runs of the fake NAME so far.
    static void ForgetFakeToolArgs(const std::string& name);
    static void Link(const std::string& target, const std::string& path);
    static void Remove(const std::string& path);
    static std::string ReadFile(const std::string& path);
    static bool Exists(const std::string& path);
    // Runs a program directly and waits; its exit status (-1 when it did not end normally).
    static int Run(const std::vector<std::string>& argv);
    // Starts a program in the background; its PID.
    static pid_t Start(const std::vector<std::string>& argv);
    static void Stop(pid_t pid);

    // Messages sent to the system log (/dev/log) since the last call, oldest first.
    static std::vector<std::string> TakeLog();
    // True when a message logged since the last TakeLog contains text; drains the log.
    static bool Logged(const std::string& text);
};
