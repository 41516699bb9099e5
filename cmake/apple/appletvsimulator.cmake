# Toolchain for the simulator, on Macs of both kinds.
set(CMAKE_SYSTEM_NAME tvOS)
set(CMAKE_OSX_DEPLOYMENT_TARGET 9.2 CACHE STRING "The oldest system that the framework runs on")
set(CMAKE_OSX_SYSROOT appletvsimulator CACHE STRING "The SDK")
set(CMAKE_OSX_ARCHITECTURES "arm64;x86_64" CACHE STRING "Of the simulator")
set(QUARNEL_PLATFORM apple CACHE STRING "Platform adapter: a folder of src/platform")
