// The C library's own functions behind those of fed_sweep.cpp.
#pragma once

#include <dirent.h>
#include <sys/stat.h>
#include <sys/types.h>

namespace ztk::torture {

struct UnfedCalls {
    DIR* (*opendir)(const char*);
    dirent* (*readdir)(DIR*);
    int (*closedir)(DIR*);
    int (*lstat)(const char*, struct stat*);
    int (*kill)(pid_t, int);
    int (*shm_open)(const char*, int, mode_t);
    int (*shm_unlink)(const char*);
    int (*close)(int);
    pid_t (*getpid)();
};

const UnfedCalls& Unfed();

}  // namespace ztk::torture
