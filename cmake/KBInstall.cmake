# What `cmake --install` puts in place: libraries, headers, the shell, and the files by which other builds find
# them (a CMake package with version file, and a pkg-config file).
include(CMakePackageConfigHelpers)

set(kb_install_targets kb)
if(TARGET kb_shared)
  list(APPEND kb_install_targets kb_shared)
endif()
set(kb_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/kb)

install(TARGETS ${kb_install_targets} EXPORT kbTargets
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
if(TARGET kbsh)
  install(TARGETS kbsh RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
install(DIRECTORY ${PROJECT_SOURCE_DIR}/kb/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/kb
        FILES_MATCHING PATTERN "*.h")

install(EXPORT kbTargets NAMESPACE kb:: DESTINATION ${kb_package_dir})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/kbConfig.cmake.in ${PROJECT_BINARY_DIR}/kbConfig.cmake
                              INSTALL_DESTINATION ${kb_package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/kbConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/kbConfig.cmake ${PROJECT_BINARY_DIR}/kbConfigVersion.cmake
        DESTINATION ${kb_package_dir})

# The prefix is written relative to the file itself, so an installed tree can be moved.
file(RELATIVE_PATH kb_prefix_from_pkgconfig
     ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" kb_prefix_from_pkgconfig "${kb_prefix_from_pkgconfig}")
configure_file(${PROJECT_SOURCE_DIR}/cmake/kb.pc.in ${PROJECT_BINARY_DIR}/kb.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/kb.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
