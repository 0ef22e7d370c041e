// Platform C library: processes, files, small containers and the last-error record.
#pragma once

#include <stdio.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Processes. Programs run without a shell. */
/* mode "r": read the program's stdout; "rB": stdout and stderr through one pipe. */
FILE* QLIBCPopenv(const char* path, const char* mode, char* const argv[]);
/* Like QLIBCPopenv; the argument list (argv[1]...) ends with a null pointer. */
FILE* QLIBCPopen(const char* path, const char* mode, ...);
/* Waits for the program; returns its wait status, -1 on failure. */
int QLIBCPclose(FILE* stream);
/* Runs path with up to four arguments (unused ones null) and waits; returns the exit status,
 * negative when the program could not be run or did not end normally. */
int QLIBCExec(const char* path, const char* a1, const char* a2, const char* a3, const char* a4);
/* Runs path with a null-terminated argument list and waits. QLIBC_EXEC_QUIET (187) sends the
 * program's stdout and stderr to /dev/null. Returns as QLIBCExec. */
#define QLIBC_EXEC_QUIET 187
int QLIBCExecl(const char* path, int options, ...);

/* Files. */
int QLIBCFileExist(const char* path);
/* Reads "key = value" from path (first match, sections ignored). Returns the value's length
 * (above 0) when found, 0 when absent, negative on failure. */
int QLIBCFileGetKeyValue(const char* path, const char* key, char* buffer, int size, int flags);
/* Advisory lock on the lock file of lockType's resource (0x40 bit: SMB configuration; 0x06:
 * exclusive and waiting), waiting at most timeoutSec seconds. 0 on success. */
int QLIBCFileLock(int lockType, int timeoutSec);
int QLIBCFileUnlock(int lockType);

/* String table (key to value) and string list; both grow as needed. */
typedef struct QLIBC_SZHASH QLIBC_SZHASH;
typedef struct QLIBC_SZLIST QLIBC_SZLIST;
QLIBC_SZHASH* QLIBCSzHashAlloc(int capacity);
int QLIBCSzHashSetValue(QLIBC_SZHASH* table, const char* key, const char* value);
const char* QLIBCSzHashGetValue(const QLIBC_SZHASH* table, const char* key);
int QLIBCSzHashRemoveKey(QLIBC_SZHASH* table, const char* key);
int QLIBCSzHashCount(const QLIBC_SZHASH* table);
const char* QLIBCSzHashKeyAt(const QLIBC_SZHASH* table, int index);
void QLIBCSzHashFree(QLIBC_SZHASH* table);
QLIBC_SZLIST* QLIBCSzListAlloc(int capacity);
int QLIBCSzListPush(QLIBC_SZLIST** list, const char* value);
const char* QLIBCSzListGet(const QLIBC_SZLIST* list, int index);
int QLIBCSzListCount(const QLIBC_SZLIST* list);
void QLIBCSzListFree(QLIBC_SZLIST* list);

/* Last platform error of the calling thread. */
void QLIBCErrSetEx(int code, const char* file, int line);
int QLIBCErrGet(void);
const char* QLIBCErrorGetFile(void);
int QLIBCErrorGetLine(void);

/* 0 when the two UTF-8 strings are equal ignoring case. */
int QLIBCUnicodeUTF8StrCaseCmp(const char* a, const char* b);

#ifdef __cplusplus
}
#endif
