#include "line_reader.hpp"

#include <unistd.h>

#include <cerrno>

namespace netfront {

LineReader::~LineReader() {
    if (fd_ >= 0) close(fd_);
}

bool LineReader::Read(const LineHandler& onLine) {
    char buffer[4096];
    ssize_t got = read(fd_, buffer, sizeof buffer);
    if (got < 0 && errno == EINTR) return true;
    if (got <= 0) {
        if (!pending_.empty()) onLine(pending_, false);
        pending_.clear();
        close(fd_);
        fd_ = -1;
        return false;
    }
    pending_.append(buffer, static_cast<size_t>(got));
    size_t newline;
    while ((newline = pending_.find('\n')) != std::string::npos) {
        onLine(pending_.substr(0, newline), true);
        pending_.erase(0, newline + 1);
    }
    return true;
}

}  // namespace netfront
