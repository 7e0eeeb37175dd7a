# The platform libraries of a device, or any folder that holds them under their device names. The
# service finds them where the device's loader looks: no run path is recorded.
set(NUVREL_PLATFORM_LIB_DIR "" CACHE PATH "Folder with the framework libraries, and liblog.so if the compiler lacks it")
set(NUVREL_PLATFORM_INCLUDE_DIR "" CACHE PATH "Folder with android/log.h, if the compiler lacks it")
set(CMAKE_SKIP_RPATH ON)

function(nuvrel_platform_library target name)
  find_library(NUVREL_LIB_${name} ${name} PATHS "${NUVREL_PLATFORM_LIB_DIR}"
    NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH ${ARGN})
  add_library(${target} INTERFACE)
  if(NUVREL_LIB_${name})
    target_link_libraries(${target} INTERFACE "${NUVREL_LIB_${name}}")
  else()
    target_link_libraries(${target} INTERFACE ${name})
  endif()
endfunction()

nuvrel_platform_library(nuvrel_log log)
nuvrel_platform_library(nuvrelcoreutils_device nuvrelcoreutils REQUIRED)
nuvrel_platform_library(nuvrelwpacliwrapper_device nuvrelwpacliwrapper REQUIRED)
add_library(nuvrelcoreutils ALIAS nuvrelcoreutils_device)
add_library(nuvrelwpacliwrapper ALIAS nuvrelwpacliwrapper_device)
if(NUVREL_PLATFORM_INCLUDE_DIR)
  target_include_directories(nuvrel_log SYSTEM INTERFACE "${NUVREL_PLATFORM_INCLUDE_DIR}")
endif()
