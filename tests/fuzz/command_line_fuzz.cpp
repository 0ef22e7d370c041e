// The host's request words (NUL-separated), --params JSON and NAME=VALUE, and the runner's
// NAME=VALUE secret lines.
#include "command_line.hpp"
#include "secret_input.hpp"
#include "unit_fuzz_input.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text = Text(data, size);
    CommandLine line;
    std::string error;
    line.Parse(Split(text, '\0'), error);
    Json::Value values(Json::objectValue);
    CommandLine::MergeParams(text, values);
    CommandLine::ParseNamedValue(text, values, error);
    SecretInput::ParseSecretLines(text, "fuzz", values, error);
    return 0;
}
