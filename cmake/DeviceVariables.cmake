# What the build for a device has to be told. A leading blank keeps a message on one line.
if(CMAKE_TOOLCHAIN_FILE MATCHES "/android\\.toolchain\\.cmake$" AND NOT EXISTS "${CMAKE_TOOLCHAIN_FILE}")
  message(FATAL_ERROR " ANDROID_NDK_HOME must name an Android NDK: there is no ${CMAKE_TOOLCHAIN_FILE}")
endif()
if(NOT EXISTS "${NUVREL_PLATFORM_LIB_DIR}/libnuvrelcoreutils.so")
  message(FATAL_ERROR " NUVREL_PLATFORM_LIB_DIR must name the folder with the device's framework libraries: there is no ${NUVREL_PLATFORM_LIB_DIR}/libnuvrelcoreutils.so")
endif()
