// The last platform error of the calling thread.
#include "qlibc.h"

namespace {

struct LastError {
    int code = 0;
    const char* file = "";
    int line = 0;
};

thread_local LastError gLastError;

}  // namespace

extern "C" void QLIBCErrSetEx(int code, const char* file, int line) {
    gLastError = LastError{code, file ? file : "", line};
}

extern "C" int QLIBCErrGet(void) {
    return gLastError.code;
}

extern "C" const char* QLIBCErrorGetFile(void) {
    return gLastError.file;
}

extern "C" int QLIBCErrorGetLine(void) {
    return gLastError.line;
}
