// Configuration files of lines: read whole, replaced atomically.
#pragma once

#include <string>
#include <vector>

namespace platform {

// The file's lines without their newlines; false when it cannot be read.
bool ReadLines(const std::string& path, std::vector<std::string>* lines);
// Writes the lines to a temporary file beside path, with path's mode (0644 for a new file),
// and renames it over path: readers see the old or the new file, never a part.
bool ReplaceFile(const std::string& path, const std::vector<std::string>& lines);

}  // namespace platform
