// A file written in full beside its path and then renamed into place: readers see the old content
// or the new, never a half-written file, and a link planted at the path is replaced, not followed.
#pragma once

#include <string>
#include <string_view>

class AtomicFile {
  public:
    // Creates the temporary file beside path; Ok() tells whether that worked.
    explicit AtomicFile(std::string path);
    // Drops the temporary file unless it was committed.
    ~AtomicFile();
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;

    // False once creating or writing the file failed; later writes are then ignored.
    bool Ok() const { return m_fd >= 0 && m_ok; }
    void Write(std::string_view data);
    // Flushes, syncs and renames the file to the path (a new file gets mode 0644, a replaced one
    // keeps its mode). True on success; the temporary file is gone either way.
    bool Commit();

  private:
    bool Flush();
    void WriteOut(std::string_view data);
    void Discard();

    std::string m_path;
    std::string m_temporary;
    std::string m_buffer;
    int m_fd = -1;
    bool m_ok = true;
};
