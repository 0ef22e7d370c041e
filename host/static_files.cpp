#include "static_files.hpp"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <map>

namespace {

const std::map<std::string, std::string> kContentTypes = {{"html", "text/html; charset=utf-8"},
                                                          {"js", "text/javascript; charset=utf-8"},
                                                          {"css", "text/css; charset=utf-8"},
                                                          {"svg", "image/svg+xml"},
                                                          {"png", "image/png"},
                                                          {"json", "application/json"}};

HttpReply NotFound() {
    HttpReply reply;
    reply.status = 404;
    reply.contentType = "text/plain; charset=utf-8";
    reply.body = "not found\n";
    return reply;
}

// A relative path of plain names: no empty, "." or ".." parts, no hidden files, no escapes.
bool IsPlainPath(const std::string& path) {
    if (path.empty() || path.find_first_of("\\%\0", 0, 3) != std::string::npos) return false;
    size_t start = 0;
    while (start <= path.size()) {
        size_t end = std::min(path.find('/', start), path.size());
        if (end == start || path[start] == '.') return false;
        start = end + 1;
    }
    return true;
}

// Opens path below the directory root; links may not lead out of it.
int OpenBeneath(int root, const std::string& path) {
    open_how how{};
    how.flags = O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
    how.resolve = RESOLVE_BENEATH | RESOLVE_NO_MAGICLINKS;
    return static_cast<int>(syscall(SYS_openat2, root, path.c_str(), &how, sizeof(how)));
}

bool ReadAll(int fd, size_t size, std::string& content) {
    content.resize(size);
    size_t done = 0;
    while (done < size) {
        ssize_t got = read(fd, content.data() + done, size - done);
        if (got <= 0) return false;
        done += static_cast<size_t>(got);
    }
    return true;
}

}  // namespace

HttpReply StaticFiles::Serve(const std::string& path) const {
    std::string relative = path == "/" ? "index.html" : path.substr(1);
    size_t dot = relative.rfind('.');
    auto type = dot == std::string::npos ? kContentTypes.end()
                                         : kContentTypes.find(relative.substr(dot + 1));
    if (type == kContentTypes.end() || !IsPlainPath(relative)) return NotFound();
    int root = open(root_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (root < 0) return NotFound();
    int fd = OpenBeneath(root, relative);
    close(root);
    if (fd < 0) return NotFound();
    HttpReply reply;
    struct stat status {};
    bool ok = fstat(fd, &status) == 0 && S_ISREG(status.st_mode) &&
              static_cast<size_t>(status.st_size) <= kSizeLimit &&
              ReadAll(fd, static_cast<size_t>(status.st_size), reply.body);
    close(fd);
    if (!ok) return NotFound();
    reply.contentType = type->second;
    return reply;
}
