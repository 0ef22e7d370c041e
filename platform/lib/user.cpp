// Users through the name service switch (getpwnam_r), so that domain users resolve once
// nsswitch.conf names winbind.
#include <errno.h>
#include <pwd.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <new>
#include <vector>

#include "qarn.h"

namespace {

enum UserError { kBadArgument = 0x500, kNotFound = 0x501, kLookupFailed = 0x502 };

const size_t kDefaultRecordSize = 16384;
const size_t kMaxRecordSize = 1 << 20;

int Fail(int code, int line) {
    QLIBCErrSetEx(code, __FILE_NAME__, line);
    return -1;
}

size_t InitialRecordSize() {
    long size = sysconf(_SC_GETPW_R_SIZE_MAX);
    return size > 0 ? static_cast<size_t>(size) : kDefaultRecordSize;
}

// getpwnam_r with a buffer that grows while the record does not fit.
int LookUp(const char* name, passwd& record, std::vector<char>& buffer, passwd*& found) {
    int error = 0;
    for (buffer.resize(InitialRecordSize());; buffer.resize(buffer.size() * 2)) {
        error = getpwnam_r(name, &record, buffer.data(), buffer.size(), &found);
        if (error != ERANGE || buffer.size() >= kMaxRecordSize) return error;
    }
}

// The errors by which name services tell that they do not know the name.
bool IsNotFound(int error) {
    return error == 0 || error == ENOENT || error == ESRCH || error == EBADF || error == EPERM;
}

char* Copy(const char* text) {
    return strdup(text != nullptr ? text : "");
}

}  // namespace

extern "C" int QARNUserGet(const char* name, QARN_USER** user) {
    if (name == nullptr || name[0] == '\0' || user == nullptr) return Fail(kBadArgument, __LINE__);
    *user = nullptr;
    passwd record{};
    passwd* found = nullptr;
    std::vector<char> buffer;
    int error = LookUp(name, record, buffer, found);
    if (found == nullptr) return Fail(IsNotFound(error) ? kNotFound : kLookupFailed, __LINE__);
    QARN_USER* result = new (std::nothrow) QARN_USER{};
    if (result == nullptr) return Fail(kLookupFailed, __LINE__);
    result->name = Copy(record.pw_name);
    result->uid = record.pw_uid;
    result->gid = record.pw_gid;
    result->home = Copy(record.pw_dir);
    result->shell = Copy(record.pw_shell);
    *user = result;
    return 0;
}

extern "C" void QARNUserFree(QARN_USER* user) {
    if (user == nullptr) return;
    free(user->name);
    free(user->home);
    free(user->shell);
    delete user;
}
