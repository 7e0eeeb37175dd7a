# The platform libraries of a device, or any folder that holds them under their device names. The
# service finds them where the device's loader looks: no run path is recorded.
set(NUVREL_PLATFORM_LIB_DIR "" CACHE PATH "Folder with the framework libraries, and liblog.so if the compiler lacks it")
set(NUVREL_PLATFORM_INCLUDE_DIR "" CACHE PATH "Folder with android/log.h, if the compiler lacks it")
set(CMAKE_SKIP_RPATH ON)

function(nuvrel_platform_library target name)
  unset(NUVREL_LIB_${name} CACHE)
  find_library(NUVREL_LIB_${name} ${name} PATHS "${NUVREL_PLATFORM_LIB_DIR}"
    NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
  add_library(${target} INTERFACE)
  if(NUVREL_LIB_${name})
    target_link_libraries(${target} INTERFACE "${NUVREL_LIB_${name}}")
  elseif(name STREQUAL "log")
    target_link_libraries(${target} INTERFACE log)
  else()
    message(FATAL_ERROR "lib${name}.so is not in NUVREL_PLATFORM_LIB_DIR (\"${NUVREL_PLATFORM_LIB_DIR}\"): "
      "set it to the folder that holds the device's framework libraries")
  endif()
endfunction()

nuvrel_platform_library(nuvrel_log log)
nuvrel_platform_library(nuvrelcoreutils_device nuvrelcoreutils)
nuvrel_platform_library(nuvrelwpacliwrapper_device nuvrelwpacliwrapper)
add_library(nuvrelcoreutils ALIAS nuvrelcoreutils_device)
add_library(nuvrelwpacliwrapper ALIAS nuvrelwpacliwrapper_device)
if(NUVREL_PLATFORM_INCLUDE_DIR)
  target_include_directories(nuvrel_log SYSTEM INTERFACE "${NUVREL_PLATFORM_INCLUDE_DIR}")
endif()
