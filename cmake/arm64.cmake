# Toolchain for ARM64 Linux boards: Debian's cross compiler, or a vendor's with
#   -DZTK_CROSS_PREFIX=/opt/sdk/bin/aarch64-linux- -DZTK_SYSROOT=/opt/sdk/sysroot
set(ZTK_CROSS_PREFIX aarch64-linux-gnu- CACHE STRING "What stands before gcc and g++ in the cross compiler's names")
set(ZTK_SYSROOT "" CACHE PATH "Root of the board's headers and libraries; empty: those of the cross compiler")
# CMake's compiler checks are projects of their own, which read this file again.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ZTK_CROSS_PREFIX ZTK_SYSROOT)

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER ${ZTK_CROSS_PREFIX}gcc)
set(CMAKE_CXX_COMPILER ${ZTK_CROSS_PREFIX}g++)

# Where programs find their libraries: in the sysroot, or where Debian has those of a cross compiler.
if(ZTK_SYSROOT)
    set(CMAKE_SYSROOT ${ZTK_SYSROOT})
    set(ZTK_TARGET_ROOT ${ZTK_SYSROOT})
else()
    string(REGEX REPLACE "^.*/|-$" "" ztk_triplet "${ZTK_CROSS_PREFIX}")
    set(ZTK_TARGET_ROOT /usr/${ztk_triplet})
endif()
set(CMAKE_FIND_ROOT_PATH ${ZTK_TARGET_ROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The static one: Debian's other qemu-aarch64 knows plugins, whose list of processors ends a forked child of a program
# with threads when the child starts a thread of its own.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64-static -L ${ZTK_TARGET_ROOT})
