# The platform libraries on a workstation: Debian's liblog, and the framework libraries from platform/
# under their device names, all next to the service in lib/.
find_library(NUVREL_LIBLOG log PATH_SUFFIXES android REQUIRED)
find_path(NUVREL_LIBLOG_INCLUDE android/log.h PATH_SUFFIXES android REQUIRED)
get_filename_component(NUVREL_LIBLOG_DIR "${NUVREL_LIBLOG}" DIRECTORY)
add_library(nuvrel_log INTERFACE)
target_link_libraries(nuvrel_log INTERFACE "${NUVREL_LIBLOG}")
target_include_directories(nuvrel_log SYSTEM INTERFACE "${NUVREL_LIBLOG_INCLUDE}")

# The service loads its client library by name, and finds it and the others beside itself.
set(CMAKE_BUILD_RPATH "$ORIGIN")
set(CMAKE_INSTALL_RPATH "$ORIGIN" "${NUVREL_LIBLOG_DIR}")
