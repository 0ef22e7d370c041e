// Where request parameters come from besides the command line words: a JSON object on standard
// input or in a file, a file of NAME=VALUE lines for secrets, and a prompt on the terminal. Secrets
// never need the command line.
#pragma once

#include <json/value.h>

#include <string>

class SecretInput {
  public:
    // "password", "bind_pw": never shown, never stored.
    static bool IsSecret(const std::string& name);

    // A JSON object from path ("-": standard input) merged into inputs, as --params of call
    // takes it.
    static bool ReadParams(const std::string& path, Json::Value& inputs, std::string& error);
    // NAME=VALUE lines (values taken as text) from path merged into inputs.
    static bool ReadSecretsFile(const std::string& path, Json::Value& inputs, std::string& error);
    // The same lines from text; source names them in error.
    static bool ParseSecretLines(const std::string& text, const std::string& source,
                                 Json::Value& inputs, std::string& error);
    // Asks for name on the terminal without echo; false when there is no terminal.
    static bool Prompt(const std::string& name, std::string& value);
};
