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

set(quarnel_find_dependencies "")
foreach(package IN LISTS quarnel_adapter_packages)
  string(APPEND quarnel_find_dependencies "  find_dependency(${package})\n")
endforeach()
configure_package_config_file(cmake/QuarnelTvOsLibConfig.cmake.in
  ${PROJECT_BINARY_DIR}/package/QuarnelTvOsLibConfig.cmake
  INSTALL_DESTINATION ${quarnel_package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/package/QuarnelTvOsLibConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/package/QuarnelTvOsLibConfig.cmake
              ${PROJECT_BINARY_DIR}/package/QuarnelTvOsLibConfigVersion.cmake
  DESTINATION ${quarnel_package_dir} COMPONENT development)

# A static library has its users link what it needs; a shared one brings it along.
set(pkgconfig_requires "")
set(pkgconfig_link "")
if(NOT QUARNEL_SHARED)
  set(pkgconfig_requires "Requires: ${quarnel_adapter_pkgconfig}")
  set(pkgconfig_link " ${quarnel_adapter_pkgconfig_libs}")
endif()
file(RELATIVE_PATH pkgconfig_to_prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(cmake/QuarnelTvOsLib.pc.in ${PROJECT_BINARY_DIR}/package/QuarnelTvOsLib.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/package/QuarnelTvOsLib.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

find_program(GZIP_EXECUTABLE gzip)
function(quarnel_compress file compressed)
  execute_process(COMMAND ${GZIP_EXECUTABLE} -9nc ${file} OUTPUT_FILE ${compressed}
    COMMAND_ERROR_IS_FATAL ANY)
endfunction()

if(QUARNEL_BUILD_TOOLS)
  install(TARGETS quarnel-collector RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
    COMPONENT collector)
  set(manual ${PROJECT_SOURCE_DIR}/tools/collector/quarnel-collector.1)
  if(GZIP_EXECUTABLE)
    quarnel_compress(${manual} ${PROJECT_BINARY_DIR}/package/quarnel-collector.1.gz)
    set(manual ${PROJECT_BINARY_DIR}/package/quarnel-collector.1.gz)
  endif()
  install(FILES ${manual} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1
    COMPONENT collector)
endif()
