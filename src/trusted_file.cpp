#include "trusted_file.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <utility>

TrustedFile::TrustedFile(const std::string& path) {
    m_fd = open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (m_fd < 0) return;
    const bool trusted = fstat(m_fd, &m_status) == 0 && S_ISREG(m_status.st_mode) &&
                         m_status.st_uid == geteuid() && m_status.st_nlink == 1;
    if (!trusted) {
        close(m_fd);
        m_fd = -1;
    }
}

TrustedFile::~TrustedFile() {
    if (m_fd >= 0) close(m_fd);
}

bool TrustedFile::ReadAll(std::string& content) {
    if (m_fd < 0) return false;
    content.clear();
    char buffer[1 << 16];
    for (;;) {
        ssize_t n = read(m_fd, buffer, sizeof(buffer));
        if (n == 0) return true;
        if (n < 0) return false;
        content.append(buffer, static_cast<size_t>(n));
    }
}

FILE* TrustedFile::ReleaseStream() {
    if (m_fd < 0) return nullptr;
    FILE* stream = fdopen(m_fd, "r");
    if (stream != nullptr) m_fd = -1;
    return stream;
}
