// The fuzz targets' view of libFuzzer's bytes: text, lines, NUL-separated words, JSON.
#pragma once

#include <json/reader.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

inline std::string Text(const uint8_t* data, size_t size) {
    return std::string(reinterpret_cast<const char*>(data), size);
}

inline std::vector<std::string> Split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::istringstream stream(text);
    std::string part;
    while (std::getline(stream, part, separator)) parts.push_back(part);
    return parts;
}

// A file in a directory of its own under $TMPDIR (scripts/fuzz points it into the build tree),
// for the parsers that read files.
inline std::string ScratchFile(const char* name) {
    const char* base = std::getenv("TMPDIR");
    std::string directory = std::string(base != nullptr ? base : "/tmp") + "/fuzz.XXXXXX";
    return std::string(mkdtemp(directory.data())) + "/" + name;
}

// The document as the runner reads its JSON files; false for anything else.
inline bool ParseDocument(const std::string& text, Json::Value& document) {
    Json::CharReaderBuilder builder;
    std::istringstream stream(text);
    std::string errors;
    return Json::parseFromStream(builder, stream, &document, &errors);
}
