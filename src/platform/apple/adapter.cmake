# What the build must know of the adapter for Apple's television platform. Elsewhere it can be built
# on GNUstep, with what GNUstep does not have from tests/apple.
enable_language(OBJCXX)
set(CMAKE_OBJCXX_STANDARD 20)
set(CMAKE_OBJCXX_STANDARD_REQUIRED ON)
set(CMAKE_OBJCXX_EXTENSIONS OFF)
set(CMAKE_OBJCXX_VISIBILITY_PRESET hidden)

# Folders of src/ with its sources.
set(quarnel_adapter_rooms platform/apple objc)
# The Objective-C headers have the names of the C++ ones, and come first in Objective-C++.
include_directories(BEFORE $<$<COMPILE_LANGUAGE:OBJCXX>:${PROJECT_SOURCE_DIR}/apple/include>)
add_compile_options($<$<COMPILE_LANGUAGE:OBJCXX>:-fno-objc-arc> $<$<COMPILE_LANGUAGE:OBJCXX>:-fblocks>)
find_path(QUARNEL_RAPIDJSON rapidjson/reader.h REQUIRED NO_CMAKE_FIND_ROOT_PATH)
find_path(QUARNEL_UTFCPP utf8.h PATH_SUFFIXES utf8cpp REQUIRED NO_CMAKE_FIND_ROOT_PATH)

if(CMAKE_SYSTEM_NAME STREQUAL tvOS)
  include_directories(SYSTEM ${QUARNEL_RAPIDJSON} ${QUARNEL_UTFCPP})
  set(quarnel_adapter_libraries "-framework Foundation" "-framework UIKit" "-framework Security")
  set(quarnel_adapter_exports ${PROJECT_SOURCE_DIR}/apple/exports.txt)
  set(quarnel_adapter_link_options
    -Wl,-dead_strip -Wl,-exported_symbols_list,${quarnel_adapter_exports})
else()
  include(${PROJECT_SOURCE_DIR}/tests/apple/gnustep.cmake)
endif()

# The library as a framework.
function(quarnel_adapter_finish target)
  if(NOT CMAKE_SYSTEM_NAME STREQUAL tvOS)
    return()
  endif()
  set(headers ${PROJECT_SOURCE_DIR}/apple/include/QuarnelTvOsLib)
  file(GLOB public_headers CONFIGURE_DEPENDS ${headers}/*.h)
  set(resources ${PROJECT_SOURCE_DIR}/apple/PrivacyInfo.xcprivacy)
  target_sources(${target} PRIVATE ${public_headers} ${resources})
  set_target_properties(${target} PROPERTIES
    FRAMEWORK TRUE MACOSX_FRAMEWORK_INFO_PLIST ${PROJECT_SOURCE_DIR}/apple/Info.plist.in
    PUBLIC_HEADER "${public_headers}" RESOURCE "${resources}"
    INSTALL_NAME_DIR @rpath BUILD_WITH_INSTALL_NAME_DIR TRUE)
  # No VERSION: frameworks of this platform have no folders of versions.
  set_property(TARGET ${target} PROPERTY VERSION)
  set_property(TARGET ${target} PROPERTY SOVERSION)
  target_link_options(${target} PRIVATE
    -Wl,-current_version,${PROJECT_VERSION} -Wl,-compatibility_version,${PROJECT_VERSION_MAJOR})
  add_custom_command(TARGET ${target} POST_BUILD COMMAND ${CMAKE_COMMAND} -E copy_if_different
    ${PROJECT_SOURCE_DIR}/apple/module.modulemap
    $<TARGET_BUNDLE_DIR:${target}>/Modules/module.modulemap)
endfunction()
