#include "secret_input.hpp"

#include <fcntl.h>
#include <json/reader.h>
#include <termios.h>
#include <unistd.h>

#include <iostream>
#include <sstream>

namespace {

// Reads a whole file (or standard input) without following a planted link.
bool ReadText(const std::string& path, std::string& text, std::string& error) {
    int fd =
        path == "-" ? dup(STDIN_FILENO) : open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) {
        error = "cannot read " + path;
        return false;
    }
    char buffer[4096];
    ssize_t n;
    while ((n = read(fd, buffer, sizeof(buffer))) > 0 && text.size() < (1u << 20)) {
        text.append(buffer, static_cast<size_t>(n));
    }
    close(fd);
    if (n < 0) error = "cannot read " + path;
    return n >= 0;
}

}  // namespace

bool SecretInput::IsSecret(const std::string& name) {
    return name == "password" || name == "bind_pw";
}

bool SecretInput::ReadParams(const std::string& path, Json::Value& inputs, std::string& error) {
    std::string text;
    if (!ReadText(path, text, error)) return false;
    Json::CharReaderBuilder builder;
    Json::Value params;
    std::istringstream stream(text);
    std::string errors;
    if (!Json::parseFromStream(builder, stream, &params, &errors) || !params.isObject()) {
        error = "--params takes a JSON object (" + path + ")";
        return false;
    }
    for (const std::string& name : params.getMemberNames()) inputs[name] = params[name];
    return true;
}

bool SecretInput::ReadSecretsFile(const std::string& path, Json::Value& inputs,
                                  std::string& error) {
    std::string text;
    if (!ReadText(path, text, error)) return false;
    std::istringstream lines(text);
    std::string line;
    while (std::getline(lines, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.empty() || line[0] == '#') continue;
        size_t separator = line.find('=');
        if (separator == std::string::npos || separator == 0) {
            error = path + ": lines are NAME=VALUE";
            return false;
        }
        inputs[line.substr(0, separator)] = line.substr(separator + 1);
    }
    return true;
}

bool SecretInput::Prompt(const std::string& name, std::string& value) {
    int fd = open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (fd < 0) return false;
    termios saved{};
    bool restore = tcgetattr(fd, &saved) == 0;
    termios quiet = saved;
    quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    if (restore) tcsetattr(fd, TCSAFLUSH, &quiet);
    std::string prompt = name + ": ";
    ssize_t ignored = write(fd, prompt.data(), prompt.size());
    value.clear();
    char c;
    while (read(fd, &c, 1) == 1 && c != '\n') value += c;
    if (restore) tcsetattr(fd, TCSAFLUSH, &saved);
    ignored = write(fd, "\n", 1);
    (void)ignored;
    close(fd);
    return true;
}
