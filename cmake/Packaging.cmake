# Debian packages, made by cpack: one for each installed component. packaging/build-packages makes them as they
# are shipped.
set(ZTK_PACKAGE_CONTACT "ZTKCommon maintainers <ztkcommon@localhost>" CACHE STRING "Maintainer field of the packages")

set(CPACK_GENERATOR DEB)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_PACKAGE_NAME ztkcommon)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has its own
set(CPACK_PACKAGE_CONTACT ${ZTK_PACKAGE_CONTACT})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
if(CMAKE_SYSTEM_PROCESSOR STREQUAL "aarch64")
    set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE arm64)
endif()
# Splits the debugging information off, with the tools of the compiler, and adds what only a package has: cpack's own
# way of splitting comes with scripts that call ldconfig, for which there is the trigger.
set(CPACK_OBJCOPY_EXECUTABLE ${CMAKE_OBJCOPY})
set(CPACK_READELF_EXECUTABLE ${CMAKE_READELF})
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/packaging/FinishTrees.cmake)

# Written by hand, since dpkg-shlibdeps knows only the build machine's architecture: the versions of Debian
# packages that brought the newest symbols in use. A test holds them against the built files.
set(ZTK_C_DEPENDS "libc6 (>= 2.34)")
set(ZTK_LIBRARY_DEPENDS "${ZTK_C_DEPENDS}, libgcc-s1 (>= 3.0), libstdc++6 (>= 5.2)")
set(ZTK_PROGRAM_DEPENDS "${ZTK_C_DEPENDS}, libgcc-s1 (>= 3.0), libstdc++6 (>= 11), libfmt9 (>= 9.1.0+ds1)")

# ztk_package(<component> <name> <section> <depends> <description>): the packages of both architectures can be
# installed beside each other if <section> says so; CPack 3.25 has no field of its own for that.
function(ztk_package component name section depends description)
    string(TOUPPER ${component} COMPONENT)
    set(CPACK_DEBIAN_${COMPONENT}_PACKAGE_NAME ${name} PARENT_SCOPE)
    set(CPACK_DEBIAN_${COMPONENT}_PACKAGE_SECTION ${section} PARENT_SCOPE)
    set(CPACK_DEBIAN_${COMPONENT}_PACKAGE_DEPENDS ${depends} PARENT_SCOPE)
    set(CPACK_DEBIAN_${COMPONENT}_DESCRIPTION ${description} PARENT_SCOPE)
    set(CPACK_COMPONENTS_ALL ${CPACK_COMPONENTS_ALL} ${component} PARENT_SCOPE)
endfunction()

set(about "ZTKCommon hands out memory blocks to the processes of an image-processing
kit: heap, physically contiguous media memory, and named shared memory that
another process opens by name. What is freed stays in the pool for the next
request.
")
set(CPACK_COMPONENTS_ALL)
ztk_package(runtime libztkcommon "libs\nMulti-Arch: same" "${ZTK_LIBRARY_DEPENDS}"
"memory pools of an image-processing kit
${about}
It needs librockit.so and libZTKSDKLogC.so: on a board its own, which no
package brings, on a desk those of ztkcommon-standins.")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA
    ${PROJECT_SOURCE_DIR}/packaging/libztkcommon/symbols ${PROJECT_SOURCE_DIR}/packaging/libztkcommon/triggers)
ztk_package(dev libztkcommon-dev "libdevel\nMulti-Arch: same"
    "libztkcommon (= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})"
"memory pools of an image-processing kit (development files)
${about}
The headers in C and C++, and what CMake and pkg-config need to find the
library.")
if(TARGET ztk_rockit AND TARGET ztk-board)
    ztk_package(standins ztkcommon-standins devel "${ZTK_PROGRAM_DEPENDS}"
"stand-ins of a board's libraries, for work with ZTKCommon on a desk
${about}
Stand-ins of librockit.so and libZTKSDKLogC.so for machines without a board,
in a folder of their own, where nobody finds them by accident, and ztk-board,
which runs a program with the memory of a board. Not for a board.")
    set(CPACK_DEBIAN_STANDINS_PACKAGE_ENHANCES libztkcommon)
endif()
if(TARGET ztkmem)
    ztk_package(tools ztkcommon-tools utils
        "${ZTK_PROGRAM_DEPENDS}, libpng16-16 (>= 1.6.2-1), libncursesw6 (>= 6), libtinfo6 (>= 6)"
"look at memory pools from outside
${about}
The program ztkmem lists the blocks in shared memory with their owners, shows
their content, removes what dead processes left, and reads the library's log.
ztk-record writes down what a program asks of the pools, for ztkmem to report,
draw and replay.")
    # addr2line for call sites, the library for replays
    set(CPACK_DEBIAN_TOOLS_PACKAGE_SUGGESTS "binutils, gnuplot-nox, libztkcommon")
endif()

ztk_package(python python3-ztkshm python "python3:any (>= 3.11)"
"shared blocks of ZTKCommon, read from Python
${about}
The module ztkshm lists the blocks in shared memory and opens them by name, as
bytes or as NumPy arrays, without a copy, and without ever removing one.")
set(CPACK_DEBIAN_PYTHON_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SUGGESTS python3-numpy)

include(CPack)
