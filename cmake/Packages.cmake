# Debian packages: `cpack` in the build folder. One for each component, and one with the debug
# symbols of each that has programs or a library. `scripts/package` builds what they want: configured
# for /usr, so that CMake chooses the multiarch folders, and with debug symbols.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_VENDOR "QuarnelTvOsLib")
set(CPACK_PACKAGE_CONTACT "QuarnelTvOsLib maintainers <maintainers@quarnel.example>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime development collector)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_RUNTIME_DEBUGINFO_PACKAGE ON)
set(CPACK_DEBIAN_COLLECTOR_DEBUGINFO_PACKAGE ON)

set(soname_major ${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libquarneltvoslib${soname_major})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/triggers)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libquarneltvoslib-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
  "libquarneltvoslib${soname_major} (= ${PROJECT_VERSION}-1)")
set(CPACK_DEBIAN_COLLECTOR_PACKAGE_NAME quarnel-collector)
set(CPACK_DEBIAN_COLLECTOR_PACKAGE_SECTION devel)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "The library that applications are linked with.")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "Headers, the CMake package, and the simulated platform for tests of applications.")
set(CPACK_COMPONENT_COLLECTOR_DESCRIPTION "Receives what applications report, checks it, and shows it on a web page.")

# What Debian wants of every package.
set(debian_changelog ${PROJECT_BINARY_DIR}/package/changelog.Debian.gz)
if(GZIP_EXECUTABLE)
  quarnel_compress(${PROJECT_SOURCE_DIR}/packaging/changelog ${debian_changelog})
  foreach(component IN ITEMS runtime development collector)
    string(TOUPPER ${component} upper)
    set(folder ${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
    install(FILES packaging/copyright ${debian_changelog} DESTINATION ${folder}
      COMPONENT ${component})
  endforeach()
endif()
include(CPack)
