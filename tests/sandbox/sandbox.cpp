#include "sandbox.hpp"

#include <errno.h>
#include <fcntl.h>
#include <net/if.h>
#include <sched.h>
#include <signal.h>
#include <spawn.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <sys/un.h>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <thread>

extern char** environ;

namespace {

// Where the fake NAME records its runs.
std::string FakeToolArgsPath(const std::string& name) {
    return "/tmp/" + name + ".args";
}

[[noreturn]] void Fail(const std::string& what) {
    fprintf(stderr, "sandbox: %s: %s\n", what.c_str(), strerror(errno));
    _exit(125);
}

void Check(int result, const std::string& what) {
    if (result != 0) Fail(what);
}

void Mount(const char* source, const std::string& target, const char* type, unsigned long flags,
           const std::string& options) {
    Check(mount(source, target.c_str(), type, flags, options.empty() ? nullptr : options.c_str()),
          "mount " + target);
}

void MakeDirectories(const std::string& path) {
    for (size_t slash = path.find('/', 1);; slash = path.find('/', slash + 1)) {
        mkdir(path.substr(0, slash).c_str(), 0755);
        if (slash == std::string::npos) return;
    }
}

bool IsBelow(const std::string& path, const std::string& root) {
    return path.compare(0, root.size() + 1, root + "/") == 0;
}

// Clones of the kept trees that a tmpfs over /tmp or /run would hide.
struct KeptTree {
    std::string path;
    int tree;
};

std::vector<KeptTree> CloneHiddenTrees(const std::vector<std::string>& keep) {
    std::vector<KeptTree> kept;
    for (const std::string& path : keep) {
        if (!IsBelow(path, "/tmp") && !IsBelow(path, "/run")) continue;
        int tree = open_tree(AT_FDCWD, path.c_str(), OPEN_TREE_CLONE | AT_RECURSIVE);
        if (tree < 0) Fail("clone " + path);
        kept.push_back({path, tree});
    }
    return kept;
}

void ReattachTrees(const std::vector<KeptTree>& kept) {
    for (const KeptTree& tree : kept) {
        MakeDirectories(tree.path);
        Check(move_mount(tree.tree, "", AT_FDCWD, tree.path.c_str(), MOVE_MOUNT_F_EMPTY_PATH),
              "reattach " + tree.path);
        close(tree.tree);
    }
}

void OverlayOver(const std::string& directory, const std::string& scratch) {
    std::string upper = scratch + directory + "/upper";
    std::string work = scratch + directory + "/work";
    MakeDirectories(upper);
    MakeDirectories(work);
    Mount("overlay", directory, "overlay", 0,
          "lowerdir=" + directory + ",upperdir=" + upper + ",workdir=" + work);
}

void BringLoopbackUp() {
    int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) Fail("socket");
    ifreq request{};
    strncpy(request.ifr_name, "lo", IFNAMSIZ - 1);
    request.ifr_flags = IFF_UP | IFF_RUNNING | IFF_LOOPBACK;
    Check(ioctl(fd, SIOCSIFFLAGS, &request), "loopback up");
    close(fd);
}

// Collects what the processes of the sandbox send to /dev/log.
class SystemLog {
  public:
    void Listen() {
        socket_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        if (socket_ < 0) Fail("log socket");
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        strncpy(address.sun_path, "/dev/log", sizeof(address.sun_path) - 1);
        unlink(address.sun_path);
        Check(bind(socket_, reinterpret_cast<sockaddr*>(&address), sizeof(address)),
              "bind /dev/log");
        chmod(address.sun_path, 0666);
        std::thread(&SystemLog::Receive, this).detach();
    }

    std::vector<std::string> Take() {
        std::lock_guard<std::mutex> lock(mutex_);
        return std::move(messages_);
    }

  private:
    void Receive() {
        char buffer[8192];
        for (;;) {
            ssize_t size = recv(socket_, buffer, sizeof(buffer), 0);
            if (size < 0 && errno == EINTR) continue;
            if (size < 0) return;
            std::lock_guard<std::mutex> lock(mutex_);
            messages_.emplace_back(buffer, static_cast<size_t>(size));
        }
    }

    int socket_ = -1;
    std::mutex mutex_;
    std::vector<std::string> messages_;
};

// Never destroyed: its receiving thread runs until the process ends, past static destructors.
SystemLog& TheSystemLog() {
    static SystemLog* log = new SystemLog;
    return *log;
}

void LayOutView(const std::vector<std::string>& keep) {
    Check(mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr), "private /");
    std::vector<KeptTree> kept = CloneHiddenTrees(keep);
    Mount("proc", "/proc", "proc", MS_NOSUID | MS_NODEV | MS_NOEXEC, "");
    Mount("sysfs", "/sys", "sysfs", MS_NOSUID | MS_NODEV | MS_NOEXEC, "");
    Mount("tmpfs", "/run", "tmpfs", MS_NOSUID | MS_NODEV, "mode=0755");
    const std::string scratch = "/run/.sandbox";
    Mount("tmpfs", "/tmp", "tmpfs", MS_NOSUID | MS_NODEV, "mode=1777");
    for (const char* directory : {"/etc", "/usr", "/var", "/dev"}) OverlayOver(directory, scratch);
    Mount("tmpfs", "/dev/shm", "tmpfs", MS_NOSUID | MS_NODEV, "mode=1777");
    ReattachTrees(kept);
    BringLoopbackUp();
    const char hostname[] = "sandbox";
    Check(sethostname(hostname, sizeof(hostname) - 1), "hostname");
}

// In the parent: the child's PID; returns 0 in the child, which dies with its parent.
pid_t ForkOrFail() {
    pid_t child = fork();
    if (child < 0) Fail("fork");
    if (child == 0) prctl(PR_SET_PDEATHSIG, SIGKILL);
    return child;
}

// Ends the calling process with a child's wait status.
[[noreturn]] void ExitWith(int status) {
    _exit(WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status));
}

// Reaps every orphan until the test process ends; its wait status.
int ReapUntil(pid_t test) {
    for (;;) {
        int status = 0;
        pid_t ended = wait(&status);
        if (ended == test) return status;
        if (ended < 0 && errno != EINTR) return status;
    }
}

int WaitFor(pid_t pid) {
    int status = 0;
    while (waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR) return -1;
    }
    return status;
}

}  // namespace

void Sandbox::Enter(const std::vector<std::string>& keep) {
    Check(unshare(CLONE_NEWNS | CLONE_NEWNET | CLONE_NEWPID | CLONE_NEWUTS | CLONE_NEWIPC),
          "unshare (tests need root)");
    pid_t init = ForkOrFail();
    if (init > 0) ExitWith(WaitFor(init));
    // PID 1 of the new namespace: lays out the view, then reaps while the test runs as an
    // ordinary process, which signals such as SIGPIPE end as they would end the host.
    LayOutView(keep);
    pid_t test = ForkOrFail();
    if (test > 0) ExitWith(ReapUntil(test));
    TheSystemLog().Listen();
}

void Sandbox::CaptureSystemLog() {
    Check(unshare(CLONE_NEWNS), "unshare (tests need root)");
    Check(mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr), "private /");
    OverlayOver("/dev", "/tmp/.sandbox-log");
    Mount("tmpfs", "/dev/shm", "tmpfs", MS_NOSUID | MS_NODEV, "mode=1777");
    TheSystemLog().Listen();
}

void Sandbox::WriteFile(const std::string& path, const std::string& content, mode_t mode) {
    MakeDirectories(path.substr(0, path.rfind('/')));
    unlink(path.c_str());
    std::ofstream output(path, std::ios::binary | std::ios::trunc);
    output << content;
    output.close();
    if (!output || chmod(path.c_str(), mode) != 0) {
        throw std::runtime_error("cannot write " + path);
    }
}

void Sandbox::WriteScript(const std::string& path, const std::string& body) {
    WriteFile(path, "#!/bin/sh\n" + body + "\n", 0755);
}

void Sandbox::WriteFakeTool(const std::string& path, const std::string& body) {
    std::string name = path.substr(path.rfind('/') + 1);
    WriteScript(path, "printf '%s\\n' \"$*\" >> " + FakeToolArgsPath(name) + "\n" + body);
}

std::string Sandbox::FakeToolArgs(const std::string& name) {
    const std::string path = FakeToolArgsPath(name);
    return Exists(path) ? ReadFile(path) : "";
}

void Sandbox::ForgetFakeToolArgs(const std::string& name) {
    Remove(FakeToolArgsPath(name));
}

void Sandbox::Link(const std::string& target, const std::string& path) {
    MakeDirectories(path.substr(0, path.rfind('/')));
    unlink(path.c_str());
    if (symlink(target.c_str(), path.c_str()) != 0) {
        throw std::runtime_error("cannot link " + path);
    }
}

void Sandbox::Remove(const std::string& path) {
    unlink(path.c_str());
}

std::string Sandbox::ReadFile(const std::string& path) {
    std::ifstream input(path, std::ios::binary);
    std::ostringstream content;
    content << input.rdbuf();
    return content.str();
}

bool Sandbox::Exists(const std::string& path) {
    return access(path.c_str(), F_OK) == 0;
}

int Sandbox::Run(const std::vector<std::string>& argv) {
    pid_t pid = Start(argv);
    int status = WaitFor(pid);
    return (status != -1 && WIFEXITED(status)) ? WEXITSTATUS(status) : -1;
}

pid_t Sandbox::Start(const std::vector<std::string>& argv) {
    std::vector<char*> array;
    for (const std::string& arg : argv) array.push_back(const_cast<char*>(arg.c_str()));
    array.push_back(nullptr);
    pid_t pid = -1;
    int error = posix_spawn(&pid, array[0], nullptr, nullptr, array.data(), environ);
    if (error != 0) throw std::runtime_error("cannot start " + argv[0]);
    return pid;
}

void Sandbox::Stop(pid_t pid) {
    kill(pid, SIGKILL);
    WaitFor(pid);
}

std::vector<std::string> Sandbox::TakeLog() {
    return TheSystemLog().Take();
}

bool Sandbox::Logged(const std::string& text) {
    // syslog() has returned before the test asks, but the receiver may still be behind.
    for (int wait = 0; wait < 50; ++wait) {
        for (const std::string& message : TakeLog()) {
            if (message.find(text) != std::string::npos) return true;
        }
        usleep(2000);
    }
    return false;
}
