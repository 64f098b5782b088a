# What `cmake --install` puts in a prefix: the DLL, its import library and
# module definition, the headers, the two tools, the package configuration
# and the README. Test programs, test stand-ins and the virtual USB
# printer's driver stay in the build tree.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(ORVANE_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/orvane64)

target_include_directories(orvane64 INTERFACE
  $<BUILD_INTERFACE:${CMAKE_SOURCE_DIR}/include> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)

install(TARGETS orvane64 EXPORT orvane64Targets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES api/orvane64.def DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES include/orvane64.h include/orvane64_bulk.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS orvane orvane-devsim RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES README.md DESTINATION ${CMAKE_INSTALL_DOCDIR})

install(EXPORT orvane64Targets NAMESPACE orvane64:: DESTINATION ${ORVANE_PACKAGE_DIR})
configure_package_config_file(cmake/orvane64Config.cmake.in
  ${CMAKE_BINARY_DIR}/package/orvane64Config.cmake INSTALL_DESTINATION ${ORVANE_PACKAGE_DIR})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/package/orvane64ConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_BINARY_DIR}/package/orvane64Config.cmake
              ${CMAKE_BINARY_DIR}/package/orvane64ConfigVersion.cmake
        DESTINATION ${ORVANE_PACKAGE_DIR})

# make sdk: the install in a staging folder, zipped as orvane64-sdk-VERSION.zip.
add_custom_target(sdk
  COMMAND ${CMAKE_COMMAND} -DBUILD_DIR=${CMAKE_BINARY_DIR} -DVERSION=${PROJECT_VERSION}
          -DOUTPUT_DIR=${CMAKE_BINARY_DIR}/sdk -P ${CMAKE_SOURCE_DIR}/cmake/Sdk.cmake
  VERBATIM)
add_dependencies(sdk orvane64 orvane orvane-devsim)
