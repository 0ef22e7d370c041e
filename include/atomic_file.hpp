// A file written in full beside its path and then renamed into place: readers see the old content
// or the new, never a half-written file, and whatever was planted at the path (a link, a pipe, a
// file of another user) is replaced, never written through. The mode is the writer's own.
#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>

class AtomicFile {
  public:
    // Creates the temporary file beside path (exclusively, mode 0600 until Commit); Ok() tells
    // whether that worked.
    AtomicFile(std::string path, mode_t mode);
    // Drops the temporary file unless it was committed.
    ~AtomicFile();
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;

    // False once creating or writing the file failed; later writes are then ignored.
    bool Ok() const { return m_fd >= 0 && m_ok; }
    void Write(std::string_view data);
    // Flushes, syncs, sets the mode and renames the file to the path. True on success; the
    // temporary file is gone either way.
    bool Commit();

  private:
    bool Flush();
    void WriteOut(std::string_view data);
    void Discard();

    std::string m_path;
    std::string m_temporary;
    std::string m_buffer;
    mode_t m_mode;
    int m_fd = -1;
    bool m_ok = true;
};
