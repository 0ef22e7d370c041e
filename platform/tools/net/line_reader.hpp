// Reads a pipe line by line.
#pragma once

#include <functional>
#include <string>

namespace netfront {

class LineReader {
  public:
    // Gets each line without its newline; `complete` is false for a last line that had none.
    using LineHandler = std::function<void(const std::string& line, bool complete)>;

    explicit LineReader(int fd) : fd_(fd) {}
    ~LineReader();
    LineReader(const LineReader&) = delete;
    LineReader& operator=(const LineReader&) = delete;

    int fd() const { return fd_; }
    bool open() const { return fd_ >= 0; }

    // Reads what is there (blocking once) and hands out the complete lines. At end of file the
    // rest goes out, the descriptor is closed and the result is false.
    bool Read(const LineHandler& onLine);

  private:
    int fd_;
    std::string pending_;
};

}  // namespace netfront
