// A check list as the runner reads it, each check's parameters resolved against the document
// itself as inputs and as every check's answer.
#include "check_list.hpp"
#include "unit_fuzz_input.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Json::Value document;
    if (!ParseDocument(Text(data, size), document)) return 0;
    CheckList list;
    std::string error;
    if (!list.Parse(document, error)) return 0;
    Answers answers;
    for (const StageSpec& stage : list.stages) {
        for (const CheckSpec& check : stage.checks) answers[check.id] = document;
    }
    for (const StageSpec& stage : list.stages) {
        for (const CheckSpec& check : stage.checks) list.ResolveParams(check, document, answers);
    }
    return 0;
}
