// Replaces a program of the sandbox's view with a script for the lifetime of the object, then
// puts the original back (or removes the script when there was none).
#pragma once

#include <string>

class ToolOverride {
  public:
    ToolOverride(const std::string& path, const std::string& body);
    ~ToolOverride();
    ToolOverride(const ToolOverride&) = delete;
    ToolOverride& operator=(const ToolOverride&) = delete;

  private:
    std::string m_path;
    bool m_existed;
    std::string m_original;
};
