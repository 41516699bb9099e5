# Builds with Debian's cross compiler against a Debian sysroot, and runs what was built in the emulator.
# `scripts/sysroot` makes the sysroot; -DQUARNEL_SYSROOT=FOLDER takes another one, such as a device's.
cmake_path(GET CMAKE_CURRENT_LIST_DIR PARENT_PATH cmake_folder)
cmake_path(GET cmake_folder PARENT_PATH project_folder)
set(QUARNEL_SYSROOT ${project_folder}/build/sysroot/${quarnel_triplet} CACHE PATH "The device's files")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES QUARNEL_SYSROOT)

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${quarnel_triplet}-gcc)
set(CMAKE_CXX_COMPILER ${quarnel_triplet}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${quarnel_triplet})
set(CMAKE_SYSROOT ${QUARNEL_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${QUARNEL_SYSROOT})
set(ENV{PKG_CONFIG_LIBDIR}
  ${QUARNEL_SYSROOT}/usr/lib/${quarnel_triplet}/pkgconfig:${QUARNEL_SYSROOT}/usr/share/pkgconfig)

set(CMAKE_CROSSCOMPILING_EMULATOR ${quarnel_emulator} -L ${QUARNEL_SYSROOT})
