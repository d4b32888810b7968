# What `cmake --install` lays down, how others find it (CMake and pkg-config), and the Debian package.
include(CMakePackageConfigHelpers)

install(TARGETS sorrel qrt velaco EXPORT velaco-targets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY ${CMAKE_SOURCE_DIR}/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/velaco
  FILES_MATCHING PATTERN "*.h" PATTERN inner EXCLUDE)
install(DIRECTORY ${CMAKE_SOURCE_DIR}/platform/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/velaco
  FILES_MATCHING PATTERN "*.h")
install(FILES ${CMAKE_SOURCE_DIR}/LICENSE ${CMAKE_SOURCE_DIR}/README.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES ${CMAKE_SOURCE_DIR}/docs/vela.1 ${CMAKE_SOURCE_DIR}/docs/qrtd.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES ${CMAKE_SOURCE_DIR}/scripts/completion/vela
  DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)

install(EXPORT velaco-targets NAMESPACE velaco:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/velaco)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/velaco-config-version.cmake COMPATIBILITY SameMajorVersion)
file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/velaco-config.cmake
  CONTENT "include(\"\${CMAKE_CURRENT_LIST_DIR}/velaco-targets.cmake\")\n" @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/velaco-config.cmake ${CMAKE_BINARY_DIR}/velaco-config-version.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/velaco)

file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/velaco.pc @ONLY CONTENT "prefix=@CMAKE_INSTALL_PREFIX@
libdir=\${prefix}/@CMAKE_INSTALL_LIBDIR@
includedir=\${prefix}/@CMAKE_INSTALL_INCLUDEDIR@/velaco

Name: velaco
Description: Common runtime library of a region's processes
Version: @PROJECT_VERSION@
Libs: -L\${libdir} -lvelaco -lqrt -lsorrel
Cflags: -I\${includedir}
")
install(FILES ${CMAKE_BINARY_DIR}/velaco.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME velaco)
set(CPACK_PACKAGE_CONTACT "velaco maintainers <maintainers@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Common runtime library of a region's processes")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "libdw1")
set(CPACK_STRIP_FILES ON)
include(CPack)
