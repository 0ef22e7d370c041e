// Test support for the LDAP tests: a private view of the machine and slapd instances.
#include "ldap_test_sandbox.hpp"

#include <errno.h>
#include <fcntl.h>
#include <net/if.h>
#include <sched.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

#ifndef DSCHECK_LDAP_SANDBOX_SCRIPT
#error "DSCHECK_LDAP_SANDBOX_SCRIPT must name tests/ldap/slapd_sandbox.sh"
#endif

namespace ldaptest {

namespace {

std::string Errno(const std::string& what) {
    return what + ": " + strerror(errno);
}

bool MakeDirs(const std::string& path) {
    if (path.empty()) return true;
    struct stat st;
    if (stat(path.c_str(), &st) == 0) return S_ISDIR(st.st_mode);
    size_t slash = path.find_last_of('/');
    if (slash != std::string::npos && slash > 0 && !MakeDirs(path.substr(0, slash))) return false;
    return mkdir(path.c_str(), 0755) == 0 || errno == EEXIST;
}

bool LoopbackUp(std::string* why) {
    int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        *why = Errno("socket");
        return false;
    }
    struct ifreq ifr;
    memset(&ifr, 0, sizeof(ifr));
    strncpy(ifr.ifr_name, "lo", IFNAMSIZ - 1);
    bool ok = ioctl(fd, SIOCGIFFLAGS, &ifr) == 0;
    if (ok) {
        ifr.ifr_flags |= IFF_UP | IFF_RUNNING;
        ok = ioctl(fd, SIOCSIFFLAGS, &ifr) == 0;
    }
    if (!ok) *why = Errno("lo up");
    close(fd);
    return ok;
}

}  // namespace

bool EnterSandbox(std::string* why) {
    if (geteuid() != 0) {
        *why = "not root";
        return false;
    }
    if (unshare(CLONE_NEWNS | CLONE_NEWNET) != 0) {
        *why = Errno("unshare");
        return false;
    }
    if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
        *why = Errno("make / private");
        return false;
    }
    char scratch[] = "/tmp/ldaptest-sandbox-XXXXXX";
    if (!mkdtemp(scratch)) {
        *why = Errno("mkdtemp");
        return false;
    }
    std::string base(scratch);
    if (mount("tmpfs", scratch, "tmpfs", 0, "mode=0755") != 0) {
        *why = Errno("tmpfs");
        rmdir(scratch);
        return false;
    }
    for (const char* tree : {"/etc", "/usr", "/var"}) {
        std::string upper = base + "/u" + tree, work = base + "/w" + tree;
        std::string options =
            "lowerdir=" + std::string(tree) + ",upperdir=" + upper + ",workdir=" + work;
        if (!MakeDirs(upper) || !MakeDirs(work) ||
            mount("overlay", tree, "overlay", 0, options.c_str()) != 0) {
            *why = Errno(std::string("overlay on ") + tree);
            return false;
        }
    }
    // The overlays keep the tmpfs alive; its mount point leaves the tree and the machine's /tmp.
    umount2(scratch, MNT_DETACH);
    rmdir(scratch);
    return LoopbackUp(why);
}

void WriteFile(const std::string& path, const std::string& text) {
    size_t slash = path.find_last_of('/');
    if (slash != std::string::npos && slash > 0) MakeDirs(path.substr(0, slash));
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << text;
    if (!out) {
        fprintf(stderr, "cannot write %s\n", path.c_str());
        abort();
    }
}

std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream buffer;
    buffer << in.rdbuf();
    return buffer.str();
}

std::vector<std::string> ReadLines(const std::string& path) {
    std::vector<std::string> lines;
    std::ifstream in(path);
    std::string line;
    while (std::getline(in, line)) lines.push_back(line);
    return lines;
}

int Run(const std::vector<std::string>& argv, std::string* out) {
    int pipeFd[2] = {-1, -1};
    if (out && pipe2(pipeFd, O_CLOEXEC) != 0) return -1;
    pid_t pid = fork();
    if (pid < 0) return -1;
    if (pid == 0) {
        if (out) dup2(pipeFd[1], 1);
        std::vector<char*> args;
        for (const std::string& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
        args.push_back(nullptr);
        execvp(args[0], args.data());
        _exit(127);
    }
    if (out) {
        close(pipeFd[1]);
        char buffer[4096];
        ssize_t n;
        while ((n = read(pipeFd[0], buffer, sizeof(buffer))) != 0) {
            if (n < 0) {
                if (errno == EINTR) continue;
                break;
            }
            out->append(buffer, static_cast<size_t>(n));
        }
        close(pipeFd[0]);
    }
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string SandboxScript() {
    return DSCHECK_LDAP_SANDBOX_SCRIPT;
}

Slapd::~Slapd() {
    Stop();
}

bool Slapd::Start(const std::vector<std::string>& options, std::string* why) {
    Stop();
    char tmpl[] = "/tmp/ldaptest-slapd-XXXXXX";
    if (!mkdtemp(tmpl)) {
        *why = Errno("mkdtemp");
        return false;
    }
    std::vector<std::string> argv = {"/bin/bash", SandboxScript(), "start", tmpl};
    argv.insert(argv.end(), options.begin(), options.end());
    std::string out;
    int rc = Run(argv, &out);
    dir_ = tmpl;
    if (rc != 0) {
        *why = "slapd_sandbox.sh start failed (" + std::to_string(rc) + ")";
        Stop();
        return false;
    }
    std::istringstream lines(out);
    std::string line;
    while (std::getline(lines, line)) {
        size_t eq = line.find('=');
        if (eq != std::string::npos) env_[line.substr(0, eq)] = line.substr(eq + 1);
    }
    return true;
}

void Slapd::Stop() {
    if (dir_.empty()) return;
    Run({"/bin/bash", SandboxScript(), "stop", dir_});
    Run({"/bin/rm", "-rf", dir_});  // when the start failed before the directory was complete
    dir_.clear();
    env_.clear();
}

std::string Slapd::Get(const std::string& key) const {
    auto it = env_.find(key);
    return it == env_.end() ? "" : it->second;
}

std::vector<std::string> Slapd::Expect(const std::string& name) const {
    return ReadLines(Get("EXPECT_DIR") + "/" + name);
}

std::string Slapd::Address() const {
    return Get("HOST") + ":" + Get("LDAP_PORT");
}
std::string Slapd::LDAPSAddress() const {
    return Get("HOST") + ":" + Get("LDAPS_PORT");
}

}  // namespace ldaptest
