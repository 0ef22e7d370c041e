// Configuration files of lines: read whole, replaced atomically.
#include "text_file.hpp"

#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

namespace platform {

namespace {

bool WriteAll(int fd, const std::string& text) {
    size_t written = 0;
    while (written < text.size()) {
        const ssize_t count = write(fd, text.data() + written, text.size() - written);
        if (count <= 0) return false;
        written += static_cast<size_t>(count);
    }
    return true;
}

}  // namespace

bool ReadLines(const std::string& path, std::vector<std::string>* lines) {
    std::ifstream file(path);
    if (!file.is_open()) return false;
    std::string line;
    while (std::getline(file, line)) lines->push_back(line);
    return !file.bad();
}

bool ReplaceFile(const std::string& path, const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) text += line + "\n";
    std::string temporary = path + ".XXXXXX";
    const int fd = mkstemp(&temporary[0]);
    if (fd < 0) return false;
    struct stat old;
    const mode_t mode = stat(path.c_str(), &old) == 0 ? (old.st_mode & 07777) : 0644;
    const bool written = fchmod(fd, mode) == 0 && WriteAll(fd, text) && fsync(fd) == 0;
    if (close(fd) != 0 || !written || rename(temporary.c_str(), path.c_str()) != 0) {
        unlink(temporary.c_str());
        return false;
    }
    return true;
}

}  // namespace platform
