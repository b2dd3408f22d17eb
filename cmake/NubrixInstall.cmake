# What `cmake --install` installs: headers, library, log plug-in (by drivers/log), and the
# means to find them with CMake and pkg-config. The whole tree may be moved.
include(CMakePackageConfigHelpers)

install(DIRECTORY include/nubrix DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS nubrix EXPORT nubrixTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/nubrix)
install(EXPORT nubrixTargets NAMESPACE nubrix:: DESTINATION ${package_dir})
configure_package_config_file(cmake/nubrixConfig.cmake.in ${PROJECT_BINARY_DIR}/nubrixConfig.cmake
  INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/nubrixConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/nubrixConfig.cmake
  ${PROJECT_BINARY_DIR}/nubrixConfigVersion.cmake
  DESTINATION ${package_dir})

set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH NUBRIX_PREFIX_FROM_PKGCONFIG /prefix/${pkgconfig_dir} /prefix)
configure_file(cmake/nubrix.pc.in nubrix.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/nubrix.pc DESTINATION ${pkgconfig_dir})
