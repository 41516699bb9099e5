# What `cmake --install` puts where. Components: runtime, development, collector.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(quarnel_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/QuarnelTvOsLib)

install(TARGETS QuarnelTvOsLib EXPORT QuarnelTvOsLibTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
install(TARGETS quarnel_testing EXPORT QuarnelTvOsLibTargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
install(DIRECTORY include/ testing/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  COMPONENT development)
install(EXPORT QuarnelTvOsLibTargets NAMESPACE QuarnelTvOsLib:: DESTINATION ${quarnel_package_dir}
  COMPONENT development)

configure_package_config_file(cmake/QuarnelTvOsLibConfig.cmake.in
  ${PROJECT_BINARY_DIR}/package/QuarnelTvOsLibConfig.cmake
  INSTALL_DESTINATION ${quarnel_package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/package/QuarnelTvOsLibConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/package/QuarnelTvOsLibConfig.cmake
              ${PROJECT_BINARY_DIR}/package/QuarnelTvOsLibConfigVersion.cmake
  DESTINATION ${quarnel_package_dir} COMPONENT development)

# A static library has its users link what it needs; a shared one brings it along.
if(NOT BUILD_SHARED_LIBS)
  set(pkgconfig_requires "Requires: libcurl libssl libcrypto sqlite3")
  set(pkgconfig_link " -lstdc++ -lpthread -ldl")
endif()
configure_file(cmake/QuarnelTvOsLib.pc.in ${PROJECT_BINARY_DIR}/package/QuarnelTvOsLib.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/package/QuarnelTvOsLib.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

if(QUARNEL_BUILD_TOOLS)
  install(TARGETS quarnel-collector RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
    COMPONENT collector)
  install(FILES tools/collector/quarnel-collector.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1
    COMPONENT collector)
endif()
