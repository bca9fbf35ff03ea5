# The names that find_package(ZTKCommon) gives, for projects that this one is a part of: add_subdirectory() and
# FetchContent can take find_package()'s place.
add_library(ZTKCommon::ZTKCommon ALIAS ZTKCommon)

add_library(ztk_headers INTERFACE)
add_library(ZTKCommon::headers ALIAS ztk_headers)
target_include_directories(ztk_headers INTERFACE ${PROJECT_SOURCE_DIR}/common)

if(TARGET ztk_rockit)
    add_library(ztk_standins INTERFACE)
    add_library(ZTKCommon::standins ALIAS ztk_standins)
    target_include_directories(ztk_standins INTERFACE
        ${PROJECT_SOURCE_DIR}/standins/rockit ${PROJECT_SOURCE_DIR}/standins/sdklog)
    target_link_libraries(ztk_standins INTERFACE ZTKCommon ztk::rockit ztk::sdklog)
endif()
