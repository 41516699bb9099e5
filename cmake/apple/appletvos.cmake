# Toolchain for the device.
set(CMAKE_SYSTEM_NAME tvOS)
set(CMAKE_OSX_DEPLOYMENT_TARGET 9.2 CACHE STRING "The oldest system that the framework runs on")
set(CMAKE_OSX_SYSROOT appletvos CACHE STRING "The SDK")
set(CMAKE_OSX_ARCHITECTURES arm64 CACHE STRING "Of the device")
set(QUARNEL_PLATFORM apple CACHE STRING "Platform adapter: a folder of src/platform")
