// The platform's parsers of tool output and system files: net ads lookup/workgroup, kinit,
// resolv.conf, /proc/net/route, nsswitch.conf.
#include <sstream>

#include "parsers.hpp"
#include "unit_fuzz_input.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text = Text(data, size);
    platform::ValueOf(text, "Is writable");
    platform::IsWrongPassword(text);
    std::istringstream table(text);
    platform::DefaultRouteInterface(table);
    std::vector<std::string> sources;
    for (const std::string& line : Split(text, '\n')) {
        platform::NameserverOf(line);
        platform::ReadPasswdSources(line, sources);
    }
    return 0;
}
