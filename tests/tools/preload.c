/*
 * Loaded before the tool by tests (LD_PRELOAD), to bring about what a file system or an unlucky moment does:
 *
 *   TEST_NO_TMPFILE=1     files cannot be made without a name
 *   TEST_PAUSE_AT_SYNC=1  a program waits for ever where it would bring a file to the disk
 */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdlib.h>
#include <unistd.h>

static int open_named(const char* symbol, const char* path, int flags, va_list rest) {
    int (*next)(const char*, int, ...);
    mode_t mode = 0;
    if ((flags & O_TMPFILE) == O_TMPFILE && getenv("TEST_NO_TMPFILE")) {
        errno = EOPNOTSUPP;
        return -1;
    }
    if ((flags & O_CREAT) || (flags & O_TMPFILE) == O_TMPFILE)
        mode = va_arg(rest, mode_t);
    *(void**)&next = dlsym(RTLD_NEXT, symbol);
    return next(path, flags, mode);
}

int open(const char* path, int flags, ...) {
    va_list rest;
    int file;
    va_start(rest, flags);
    file = open_named("open", path, flags, rest);
    va_end(rest);
    return file;
}

int open64(const char* path, int flags, ...) {
    va_list rest;
    int file;
    va_start(rest, flags);
    file = open_named("open64", path, flags, rest);
    va_end(rest);
    return file;
}

int fsync(int file) {
    int (*next)(int);
    while (getenv("TEST_PAUSE_AT_SYNC"))
        pause();
    *(void**)&next = dlsym(RTLD_NEXT, "fsync");
    return next(file);
}
