# quarnel_options carries what every target of this project is compiled with.
add_library(quarnel_options INTERFACE)
target_compile_options(quarnel_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor> $<$<COMPILE_LANGUAGE:CXX>:-Woverloaded-virtual>
  -ffunction-sections -fdata-sections)
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
  # GCC 12 sees overlaps in the concatenation of texts that are none.
  # On 32-bit ARM it notes that calls differ from those of its version 6.
  target_compile_options(quarnel_options INTERFACE -Wno-restrict -Wno-psabi)
endif()
if(QUARNEL_WERROR)
  target_compile_options(quarnel_options INTERFACE -Werror)
endif()
if(QUARNEL_SANITIZE)
  target_compile_options(quarnel_options INTERFACE
    -fsanitize=${QUARNEL_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(quarnel_options INTERFACE -fsanitize=${QUARNEL_SANITIZE})
endif()
find_package(Threads REQUIRED)
target_link_libraries(quarnel_options INTERFACE Threads::Threads)
