# The adapter and the face on GNUstep, for checks: compiled by clang for the runtime of GCC.
if(NOT CMAKE_CXX_COMPILER_ID STREQUAL Clang)
  message(FATAL_ERROR "Objective-C blocks need clang")
endif()
set(doubles ${PROJECT_SOURCE_DIR}/tests/apple/doubles)
execute_process(COMMAND gcc -print-file-name=include OUTPUT_VARIABLE gcc_headers
  OUTPUT_STRIP_TRAILING_WHITESPACE)
include_directories(SYSTEM ${PROJECT_SOURCE_DIR}/tests/apple/platform)
set(objc_flags -fobjc-runtime=gcc -fexceptions -fobjc-exceptions
  -fconstant-string-class=NSConstantString -Wno-unused-parameter -Wno-gnu-include-next)
foreach(flag -D_NATIVE_OBJC_EXCEPTIONS -DGNUSTEP -DGNUSTEP_BASE_LIBRARY=1 ${objc_flags}
    "SHELL:-isystem /usr/include/GNUstep" "SHELL:-isystem ${gcc_headers}")
  add_compile_options($<$<COMPILE_LANGUAGE:OBJCXX>:${flag}>)
endforeach()

find_package(CURL REQUIRED)
find_package(OpenSSL REQUIRED COMPONENTS Crypto)
find_library(QUARNEL_GNUSTEP gnustep-base REQUIRED)
find_library(QUARNEL_BLOCKS BlocksRuntime REQUIRED)
execute_process(COMMAND gcc -print-file-name=libobjc.so OUTPUT_VARIABLE runtime
  OUTPUT_STRIP_TRAILING_WHITESPACE)
# Blocks first: GNUstep exports functions of the same names, which do nothing.
set(quarnel_adapter_libraries ${QUARNEL_BLOCKS} ${QUARNEL_GNUSTEP} ${runtime}
  CURL::libcurl OpenSSL::Crypto)
list(APPEND quarnel_adapter_rooms ../tests/apple/doubles)
