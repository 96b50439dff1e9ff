include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# Headers, the library (static, or shared with its version and soname links) and the CMake
# package: find_package(pelorin) then target_link_libraries(app PRIVATE pelorin::pelorin).
install(TARGETS pelorin EXPORT pelorinTargets
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
# The Qt toolkit (pelorin::qt) is used from the build tree (add_subdirectory); its headers
# are not installed with the package.
install(DIRECTORY include/pelorin DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        PATTERN qt EXCLUDE)
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
