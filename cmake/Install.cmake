# What `cmake --install` puts where, in four components: runtime, dev, tools (see tools/) and standins.
include(CMakePackageConfigHelpers)

set(ZTK_CONFIG_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/ZTKCommon)
# Not where the loader looks by itself: only who asks for the stand-ins gets them.
set(ZTK_STANDIN_LIBDIR ${CMAKE_INSTALL_LIBDIR}/ztkcommon/standins)
set(ZTK_STANDIN_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/ztkcommon/standins)

# ztk_install_config(<component> <file>...): fills in cmake/<file>.in and installs it.
function(ztk_install_config component)
    foreach(file ${ARGN})
        if(file MATCHES "\\.pc$")
            set(folder ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
            # from the .pc file back to the prefix: the tree works wherever it is put
            file(RELATIVE_PATH ZTK_PC_TO_PREFIX /prefix/${folder} /prefix)
            configure_file(cmake/${file}.in ${file} @ONLY)
        else()
            set(folder ${ZTK_CONFIG_DIR})
            configure_package_config_file(cmake/${file}.in ${file} INSTALL_DESTINATION ${folder}
                PATH_VARS CMAKE_INSTALL_INCLUDEDIR CMAKE_INSTALL_LIBDIR ZTK_STANDIN_LIBDIR ZTK_STANDIN_INCLUDEDIR
                NO_CHECK_REQUIRED_COMPONENTS_MACRO)
        endif()
        install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${file} DESTINATION ${folder} COMPONENT ${component})
    endforeach()
endfunction()

install(TARGETS ZTKCommon LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime)
if(NOT ZTK_BOARD_LIBS)
    install(CODE "file(RPATH_REMOVE FILE
        \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/libZTKCommon.so\")" COMPONENT runtime)
endif()

install(FILES common/ztk_common.h common/ztk_common.hpp common/ztk_shared_view.h common/ztk_shared_view.hpp
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev)
ztk_install_config(dev ZTKCommonConfig.cmake ztkcommon.pc)
write_basic_package_version_file(ZTKCommonConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/ZTKCommonConfigVersion.cmake DESTINATION ${ZTK_CONFIG_DIR} COMPONENT dev)

if(NOT ZTK_BOARD_LIBS)
    install(TARGETS ztk_rockit ztk_sdklog LIBRARY DESTINATION ${ZTK_STANDIN_LIBDIR} COMPONENT standins)
    install(FILES standins/rockit/ztk_rockit_standin.h standins/sdklog/ztk_sdklog_standin.h
            DESTINATION ${ZTK_STANDIN_INCLUDEDIR} COMPONENT standins)
    ztk_install_config(standins ZTKCommonStandins.cmake ztkcommon-standins.pc)
endif()
