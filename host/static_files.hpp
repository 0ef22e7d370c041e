// The web page's files below one directory: only regular files of known types, never a path
// that leaves the directory, by ".." or by a symbolic link.
#pragma once

#include <string>

#include "http_message.hpp"

class StaticFiles {
  public:
    static constexpr size_t kSizeLimit = 16 << 20;

    explicit StaticFiles(std::string root) : root_(std::move(root)) {}

    // path: the request's path ("/" is index.html); 404 for anything not served.
    HttpReply Serve(const std::string& path) const;

  private:
    std::string root_;
};
