include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(TARGETS pelorin EXPORT pelorinTargets
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY include/pelorin DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT pelorinTargets NAMESPACE pelorin::
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/pelorin)

configure_package_config_file(cmake/pelorinConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/pelorinConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/pelorin)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/pelorinConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/pelorinConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/pelorinConfigVersion.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/pelorin)
