# SPDX-License-Identifier: BSD-2-Clause
# Headers, libraries, the CMake package and the pkg-config file.
include(CMakePackageConfigHelpers)

install(FILES include/ryxsc.h include/ryxcore.h codecs/include/ryxcodec.h echo/include/ryxecho.h
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY include/ryxsc DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS ${ryxsc_libraries} ${ryxcore_libraries} ${ryxcodec_libraries} ${ryxecho_libraries} EXPORT ryxsc
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/ryxsc)
install(EXPORT ryxsc NAMESPACE ryxsc:: FILE ryxscTargets.cmake DESTINATION ${package_dir})
configure_package_config_file(cmake/ryxscConfig.cmake.in ${PROJECT_BINARY_DIR}/ryxscConfig.cmake
    INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/ryxscConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/ryxscConfig.cmake ${PROJECT_BINARY_DIR}/ryxscConfigVersion.cmake
    DESTINATION ${package_dir})

# The folder may be moved as a whole, so the file finds its prefix from where it lies.
if(IS_ABSOLUTE ${CMAKE_INSTALL_LIBDIR} OR IS_ABSOLUTE ${CMAKE_INSTALL_INCLUDEDIR})
    set(pc_prefix ${CMAKE_INSTALL_PREFIX})
    set(pc_libdir ${CMAKE_INSTALL_FULL_LIBDIR})
    set(pc_includedir ${CMAKE_INSTALL_FULL_INCLUDEDIR})
else()
    file(RELATIVE_PATH up "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
    string(REGEX REPLACE "/$" "" up "${up}")
    set(pc_prefix "\${pcfiledir}/${up}")
    set(pc_libdir "\${prefix}/${CMAKE_INSTALL_LIBDIR}")
    set(pc_includedir "\${prefix}/${CMAKE_INSTALL_INCLUDEDIR}")
endif()
# A static library alone needs always what it is linked with; a shared one names that itself.
if(BUILD_SHARED_LIBS)
    set(pc_libs_private "Libs.private: -lryxcore -lm")
else()
    set(pc_libs " -lryxcore -lm")
endif()
configure_file(cmake/ryxsc.pc.in ${PROJECT_BINARY_DIR}/ryxsc.pc @ONLY)
configure_file(cmake/ryxcodec.pc.in ${PROJECT_BINARY_DIR}/ryxcodec.pc @ONLY)
configure_file(cmake/ryxecho.pc.in ${PROJECT_BINARY_DIR}/ryxecho.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/ryxsc.pc ${PROJECT_BINARY_DIR}/ryxcodec.pc ${PROJECT_BINARY_DIR}/ryxecho.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
