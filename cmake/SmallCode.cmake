# The library lives in somebody else's process, so it is made small: optimised for size, but for the
# few files in which each report spends its time, and as one piece when it is linked.
set(quarnel_whole_program OFF)
# Objects in a static library are linked by whoever uses it, perhaps with another compiler.
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND QUARNEL_SHARED AND NOT QUARNEL_SANITIZE)
  set(quarnel_whole_program ON)
endif()

function(quarnel_small_code target)
  # Nobody asks for types at run time, whose names would be a tenth of the library.
  target_compile_options(${target} PRIVATE $<$<NOT:$<CONFIG:Debug>>:-Os -fno-rtti>)
  set_source_files_properties(${ARGN} PROPERTIES COMPILE_OPTIONS $<$<NOT:$<CONFIG:Debug>>:-O2>)
  if(quarnel_whole_program)
    # Fat objects also link the ordinary way, into tests for example.
    target_compile_options(${target} PRIVATE
      $<$<NOT:$<CONFIG:Debug>>:-flto=auto -ffat-lto-objects>)
  endif()
endfunction()

function(quarnel_small_linking target)
  if(quarnel_whole_program)
    target_link_options(${target} PRIVATE $<$<NOT:$<CONFIG:Debug>>:-flto=auto>)
  endif()
endfunction()

# For what is linked of the same objects and shall neither take as long nor be as small.
function(quarnel_ordinary_linking target)
  if(quarnel_whole_program)
    target_link_options(${target} INTERFACE -fno-lto)
  endif()
endfunction()
