// Where the runner's inputs come from besides the command line: a JSON object on standard input
// or in a file, a file of NAME=VALUE lines for secrets, and a prompt on the terminal. Secrets
// never need the command line.
#pragma once

#include <json/value.h>

#include <string>

class SecretInput {
  public:
    // "password", "bind_pw": never shown, never stored.
    static bool IsSecret(const std::string& name);

    // A JSON object from path ("-": standard input) merged into inputs.
    static bool ReadParams(const std::string& path, Json::Value& inputs, std::string& error);
    // NAME=VALUE lines (values taken as text) from path merged into inputs.
    static bool ReadSecretsFile(const std::string& path, Json::Value& inputs, std::string& error);
    // Asks for name on the terminal without echo; false when there is no terminal.
    static bool Prompt(const std::string& name, std::string& value);
};
