#include "atomic_file.hpp"

#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const size_t kBufferSize = 1 << 16;

}  // namespace

AtomicFile::AtomicFile(std::string path, mode_t mode)
    : m_path(std::move(path)), m_temporary(m_path + ".XXXXXX"), m_mode(mode) {
    m_fd = mkstemp(m_temporary.data());
    m_buffer.reserve(kBufferSize);
}

AtomicFile::~AtomicFile() {
    Discard();
}

void AtomicFile::Write(std::string_view data) {
    if (!Ok()) return;
    if (m_buffer.size() + data.size() > kBufferSize) {
        if (!Flush()) return;
        if (data.size() >= kBufferSize) {
            WriteOut(data);
            return;
        }
    }
    m_buffer.append(data);
}

bool AtomicFile::Flush() {
    WriteOut(m_buffer);
    m_buffer.clear();
    return m_ok;
}

void AtomicFile::WriteOut(std::string_view data) {
    while (m_ok && !data.empty()) {
        ssize_t written = write(m_fd, data.data(), data.size());
        if (written <= 0) {
            m_ok = false;
        } else {
            data.remove_prefix(static_cast<size_t>(written));
        }
    }
}

bool AtomicFile::Commit() {
    if (m_fd < 0) return false;
    bool done = Flush() && fchmod(m_fd, m_mode) == 0 && fsync(m_fd) == 0;
    done = close(m_fd) == 0 && done;
    m_fd = -1;
    done = done && rename(m_temporary.c_str(), m_path.c_str()) == 0;
    if (!done) unlink(m_temporary.c_str());
    return done;
}

void AtomicFile::Discard() {
    if (m_fd < 0) return;
    close(m_fd);
    m_fd = -1;
    unlink(m_temporary.c_str());
}
