# ztk::strict: what every target of this project is compiled with. Warnings are errors on both compilers.
add_library(ztk_strict INTERFACE)
add_library(ztk::strict ALIAS ztk_strict)

target_compile_options(ztk_strict INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wformat=2 -Werror
    $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wlogical-op -Wduplicated-cond>
    $<$<COMPILE_LANG_AND_ID:CXX,Clang>:-Wthread-safety>)

if(NOT ZTK_SANITIZE)
    # What is shipped has no path of the machine that built it: the same bytes from any folder. Debuggers find the
    # sources from the source tree's root.
    set(ztk_shipped $<CONFIG:RelWithDebInfo,Release>)
    target_compile_options(ztk_strict INTERFACE
        $<${ztk_shipped}:-ffile-prefix-map=${PROJECT_SOURCE_DIR}=.>
        $<${ztk_shipped}:-ffile-prefix-map=${PROJECT_BINARY_DIR}=.>)
endif()

if(ZTK_SANITIZE)
    # Through the global flags, so that nothing is linked without the runtime.
    add_compile_options(-fsanitize=${ZTK_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${ZTK_SANITIZE})
    # The library has no virtual function, and the check of those in the standard streams needs a pipe, which a
    # process out of descriptors (as some tests make it) does not get.
    add_compile_options(-fno-sanitize=vptr)
endif()
