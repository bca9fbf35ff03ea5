# ztk::command_line: CLI11, for the files that read a program's options. They do nothing else, and optimised with all
# debug information each takes a third of a minute to compile.
#
#   target_link_libraries(a_library PRIVATE ztk::command_line)    all of its files read options
#   ztk_reads_options(FILE...)                                    these of a program that links CLI11::CLI11
find_package(CLI11 REQUIRED)

set(ZTK_COMMAND_LINE_OPTIONS -O1 -g1)

if(NOT TARGET ztk_command_line)
    add_library(ztk_command_line INTERFACE)
    add_library(ztk::command_line ALIAS ztk_command_line)
    target_link_libraries(ztk_command_line INTERFACE CLI11::CLI11)
    target_compile_options(ztk_command_line INTERFACE ${ZTK_COMMAND_LINE_OPTIONS})
endif()

function(ztk_reads_options)
    set_source_files_properties(${ARGN} PROPERTIES COMPILE_OPTIONS "${ZTK_COMMAND_LINE_OPTIONS}")
endfunction()
