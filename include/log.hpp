// One way to log: syslog, every line starting with the source file's base name and line.
#pragma once

#include <syslog.h>

// The format string starts with "%s:%d"; file and line are filled in here.
#define DS_LOG(priority, format, ...) \
    syslog((priority), (format), __FILE_NAME__, __LINE__ __VA_OPT__(, ) __VA_ARGS__)
