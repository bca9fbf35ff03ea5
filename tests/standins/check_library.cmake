# cmake -DLIBRARY=<.so> -DSONAME=<name> -DEXPORTS=<a,b,...> -DNM=<nm> -DREADELF=<readelf> -P check_library.cmake
# A stand-in bears the board library's name and exports what it should, unversioned, and nothing else.
execute_process(COMMAND ${NM} -D --defined-only ${LIBRARY} OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${READELF} -d ${LIBRARY} OUTPUT_VARIABLE dynamic COMMAND_ERROR_IS_FATAL ANY)

string(REGEX MATCHALL "[^\n]+" lines "${symbols}")
list(TRANSFORM lines REPLACE "^[0-9a-f]+ " "")
list(SORT lines)
string(REPLACE "," ";" expected "${EXPORTS}")
list(TRANSFORM expected PREPEND "T ")
list(SORT expected)
if(NOT "${lines}" STREQUAL "${expected}")
    message(FATAL_ERROR "exports: ${lines}\nexpected: ${expected}")
endif()
if(NOT dynamic MATCHES "SONAME[^[]*\\[([^]]+)\\]" OR NOT CMAKE_MATCH_1 STREQUAL SONAME)
    message(FATAL_ERROR "soname ${CMAKE_MATCH_1}, expected ${SONAME}")
endif()
