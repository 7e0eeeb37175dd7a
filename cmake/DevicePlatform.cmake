# The platform libraries of a device, or any folder that holds them under their device names. The
# service finds them where the device's loader looks: no run path is recorded.
set(NUVREL_PLATFORM_LIB_DIR "" CACHE PATH "Folder with liblog.so and the framework libraries")
set(NUVREL_PLATFORM_INCLUDE_DIR "" CACHE PATH "Folder with android/log.h, if the compiler lacks it")
set(CMAKE_SKIP_RPATH ON)

function(nuvrel_platform_library target name)
  find_library(NUVREL_LIB_${name} ${name} PATHS "${NUVREL_PLATFORM_LIB_DIR}" REQUIRED
    NO_CMAKE_FIND_ROOT_PATH)
  add_library(${target} INTERFACE)
  target_link_libraries(${target} INTERFACE "${NUVREL_LIB_${name}}")
endfunction()

nuvrel_platform_library(nuvrel_log log)
nuvrel_platform_library(nuvrelcoreutils nuvrelcoreutils)
nuvrel_platform_library(nuvrelwpacliwrapper nuvrelwpacliwrapper)
if(NUVREL_PLATFORM_INCLUDE_DIR)
  target_include_directories(nuvrel_log SYSTEM INTERFACE "${NUVREL_PLATFORM_INCLUDE_DIR}")
endif()
