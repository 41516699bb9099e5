# What the build must know of the Linux adapter; every adapter says the same of itself.

# Folders of src/ with its sources.
set(quarnel_adapter_rooms platform/linux platform/linux/http platform/linux/store
  platform/linux/keychain platform/linux/dispatch platform/linux/device platform/linux/process)
option(QUARNEL_WITH_SECRET_SERVICE "Mirror the keychain in the desktop session's keyring" ON)
if(QUARNEL_WITH_SECRET_SERVICE)
  list(APPEND quarnel_adapter_rooms platform/linux/keychain/session)
else()
  list(APPEND quarnel_adapter_rooms platform/linux/keychain/no_session)
endif()

# What it is linked with, and how users of a static library find the same: the arguments of
# find_dependency(), and names for pkg-config with what they leave out.
find_package(CURL REQUIRED)
find_package(OpenSSL REQUIRED COMPONENTS SSL Crypto)
find_package(SQLite3 REQUIRED)
set(quarnel_adapter_libraries CURL::libcurl OpenSSL::SSL OpenSSL::Crypto SQLite::SQLite3)
set(quarnel_adapter_packages "CURL" "OpenSSL COMPONENTS SSL Crypto" "SQLite3")
set(quarnel_adapter_pkgconfig "libcurl libssl libcrypto sqlite3")
set(quarnel_adapter_pkgconfig_libs "-lstdc++ -lpthread -ldl")

# Where the system's time_t and file sizes have 32 bits by default, the library's have 64: dates must
# not end in 2038.
set(quarnel_adapter_definitions "")
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  set(quarnel_adapter_definitions _TIME_BITS=64 _FILE_OFFSET_BITS=64)
endif()

# How a shared library is linked.
include(CheckLinkerFlag)
check_linker_flag(CXX -Wl,-z,pack-relative-relocs QUARNEL_PACKS_RELOCATIONS)
set(quarnel_adapter_exports ${PROJECT_SOURCE_DIR}/cmake/exports.map)
# nodelete: the library's threads run until the process ends, so it cannot be unloaded under them.
set(quarnel_adapter_link_options -Wl,-z,nodelete -Wl,--gc-sections -Wl,--as-needed
  -Wl,--version-script=${quarnel_adapter_exports})
if(NOT QUARNEL_SANITIZE)
  list(APPEND quarnel_adapter_link_options -Wl,--no-undefined)
endif()
if(QUARNEL_PACKS_RELOCATIONS)
  list(APPEND quarnel_adapter_link_options -Wl,-z,pack-relative-relocs)
endif()
