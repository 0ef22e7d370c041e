#include "secret_input.hpp"

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <sstream>

#include "command_line.hpp"

namespace {

const size_t kMaxInputSize = 1u << 20;

// Reads a whole file (or standard input) without following a planted link; at most
// kMaxInputSize bytes, larger input is refused rather than cut.
bool ReadText(const std::string& path, std::string& text, std::string& error) {
    int fd =
        path == "-" ? dup(STDIN_FILENO) : open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) {
        error = "cannot read " + path;
        return false;
    }
    char buffer[4096];
    ssize_t n;
    while ((n = read(fd, buffer, sizeof(buffer))) > 0 && text.size() <= kMaxInputSize) {
        text.append(buffer, static_cast<size_t>(n));
    }
    close(fd);
    if (n < 0) error = "cannot read " + path;
    if (text.size() > kMaxInputSize) error = path + " is larger than 1 MiB";
    return error.empty();
}

}  // namespace

bool SecretInput::IsSecret(const std::string& name) {
    return name == "password" || name == "bind_pw";
}

bool SecretInput::ReadParams(const std::string& path, Json::Value& inputs, std::string& error) {
    std::string text;
    if (!ReadText(path, text, error)) return false;
    if (CommandLine::MergeParams(text, inputs)) return true;
    error = "--params takes a JSON object (" + path + ")";
    return false;
}

bool SecretInput::ReadSecretsFile(const std::string& path, Json::Value& inputs,
                                  std::string& error) {
    std::string text;
    return ReadText(path, text, error) && ParseSecretLines(text, path, inputs, error);
}

bool SecretInput::ParseSecretLines(const std::string& text, const std::string& source,
                                   Json::Value& inputs, std::string& error) {
    std::istringstream lines(text);
    std::string line;
    while (std::getline(lines, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.empty() || line[0] == '#') continue;
        size_t separator = line.find('=');
        if (separator == std::string::npos || separator == 0) {
            error = source + ": lines are NAME=VALUE";
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
