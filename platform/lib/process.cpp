// The QLIBC process calls: thin adapters over the platform's spawn primitive (spawn.hpp). Every
// run is bounded by the default limits: QLIBCExec and QLIBCExecl in time (a run stopped at its
// limit returns -1), QLIBCPopen and QLIBCPopenv in time and output (the stream ends where a limit
// strikes, and QLIBCPclose reports exit status 124 for the time limit, a kill for the cap).
#include <stdarg.h>
#include <string.h>
#include <unistd.h>

#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "output_reader.hpp"
#include "platform_error.hpp"
#include "qlibc.h"
#include "spawn.hpp"

namespace {

std::mutex gChildrenMutex;
std::unordered_map<FILE*, std::unique_ptr<platform::OutputReader>> gChildren;

ssize_t ReadOutput(void* reader, char* buffer, size_t size) {
    return static_cast<platform::OutputReader*>(reader)->Read(buffer, size);
}

// Collects a null-terminated variadic argument list behind argv0.
std::vector<char*> CollectArguments(const char* argv0, va_list arguments) {
    std::vector<char*> argv{const_cast<char*>(argv0)};
    while (char* arg = va_arg(arguments, char*)) argv.push_back(arg);
    argv.push_back(nullptr);
    return argv;
}

// Runs to the end with stdin and stdout on /dev/null; the exit status of a normal end, else -1.
int RunQuietly(const char* path, char* const argv[], platform::Stream err) {
    platform::Child child =
        platform::Child::Start(path, argv, {platform::Stream::kNull, platform::Stream::kNull, err});
    if (!child.started()) {
        PLATFORM_FAIL(platform::kSpawnFailed);
        return -1;
    }
    return child.WaitUntil(platform::DeadlineAfter(platform::DefaultTimeLimit())).ExitStatus();
}

}  // namespace

extern "C" FILE* QLIBCPopenv(const char* path, const char* mode, char* const argv[]) {
    if (path == nullptr || mode == nullptr || argv == nullptr || mode[0] != 'r') {
        PLATFORM_FAIL(platform::kProcessBadArgument);
        return nullptr;
    }
    platform::Stream err =
        strchr(mode, 'B') ? platform::Stream::kJoined : platform::Stream::kInherit;
    platform::Child child =
        platform::Child::Start(path, argv, {platform::Stream::kNull, platform::Stream::kPipe, err});
    if (!child.started()) {
        PLATFORM_FAIL(platform::kSpawnFailed);
        return nullptr;
    }
    auto reader = std::make_unique<platform::OutputReader>(std::move(child), platform::Limits{});
    FILE* stream = fopencookie(reader.get(), "r", {ReadOutput, nullptr, nullptr, nullptr});
    if (stream == nullptr) return nullptr;
    std::lock_guard<std::mutex> lock(gChildrenMutex);
    gChildren.emplace(stream, std::move(reader));
    return stream;
}

extern "C" FILE* QLIBCPopen(const char* path, const char* mode, ...) {
    va_list arguments;
    va_start(arguments, mode);
    std::vector<char*> argv = CollectArguments(path, arguments);
    va_end(arguments);
    return QLIBCPopenv(path, mode, argv.data());
}

extern "C" int QLIBCPclose(FILE* stream) {
    std::unique_ptr<platform::OutputReader> reader;
    {
        std::lock_guard<std::mutex> lock(gChildrenMutex);
        auto found = gChildren.find(stream);
        if (found == gChildren.end()) return -1;
        reader = std::move(found->second);
        gChildren.erase(found);
    }
    fclose(stream);
    return reader->Finish().WaitStatus();
}

extern "C" int QLIBCExec(const char* path, const char* a1, const char* a2, const char* a3,
                         const char* a4) {
    if (path == nullptr) return -1;
    std::vector<char*> argv{const_cast<char*>(path)};
    for (const char* arg : {a1, a2, a3, a4}) {
        if (arg == nullptr) break;
        argv.push_back(const_cast<char*>(arg));
    }
    argv.push_back(nullptr);
    return RunQuietly(path, argv.data(), platform::Stream::kInherit);
}

extern "C" int QLIBCExecl(const char* path, int options, ...) {
    if (path == nullptr) return -1;
    va_list arguments;
    va_start(arguments, options);
    std::vector<char*> argv = CollectArguments(path, arguments);
    va_end(arguments);
    return RunQuietly(
        path, argv.data(),
        options == QLIBC_EXEC_QUIET ? platform::Stream::kNull : platform::Stream::kInherit);
}
