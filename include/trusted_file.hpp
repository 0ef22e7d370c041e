// A file at a fixed path in a directory that others may write (/tmp), opened for reading without
// following a link or waiting on a pipe. Only a regular file of the module's user (the effective
// user) with one link is trusted; anything else reads as absent.
#pragma once

#include <stdio.h>
#include <sys/stat.h>

#include <string>

class TrustedFile {
  public:
    explicit TrustedFile(const std::string& path);
    ~TrustedFile();
    TrustedFile(const TrustedFile&) = delete;
    TrustedFile& operator=(const TrustedFile&) = delete;

    bool IsOpen() const { return m_fd >= 0; }
    // The file's status as opened; valid while IsOpen().
    const struct stat& Status() const { return m_status; }
    // The whole content; false when the file is absent or cannot be read.
    bool ReadAll(std::string& content);
    // A stream over the file for the caller to close; null when absent.
    FILE* ReleaseStream();

  private:
    int m_fd = -1;
    struct stat m_status {};
};
