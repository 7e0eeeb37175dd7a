# Builds the service alone, as for a device, against platform libraries given in a folder, and has wlc
# play a session on the result.
#   cmake -DSOURCE= -DWORK= -DLIBS= -DLIBLOG= -DINCLUDE= -DWLC= -DCOMPILER= -DFLAGS=
#     [-DTOOLCHAIN=] [-DEMULATOR=] -P this
file(REMOVE_RECURSE "${WORK}")
file(MAKE_DIRECTORY "${WORK}/platform")
foreach(library "${LIBS}/libnuvrelcoreutils.so" "${LIBS}/libnuvrelwpacliwrapper.so"
    "${LIBS}/libnuvrelservice_client.so" "${LIBLOG}")
  get_filename_component(name "${library}" NAME)
  file(CREATE_LINK "${library}" "${WORK}/platform/${name}" SYMBOLIC)
endforeach()

if(TOOLCHAIN)
  set(compiler "-DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN}")
else()
  set(compiler "-DCMAKE_CXX_COMPILER=${COMPILER}")
endif()
execute_process(COMMAND_ERROR_IS_FATAL ANY COMMAND ${CMAKE_COMMAND} -S "${SOURCE}" -B "${WORK}/build"
  -G Ninja -DNUVREL_HOST_PLATFORM=OFF "-DNUVREL_PLATFORM_LIB_DIR=${WORK}/platform"
  "-DNUVREL_PLATFORM_INCLUDE_DIR=${INCLUDE}" -DCMAKE_BUILD_TYPE=Release
  "-DCMAKE_CXX_FLAGS=${FLAGS}" "${compiler}")
execute_process(COMMAND_ERROR_IS_FATAL ANY COMMAND ${CMAKE_COMMAND} --build "${WORK}/build")

set(service "${WORK}/build/lib/libnuvrelwirelesslinkconfigservice.so")
file(GLOB_RECURSE built "${WORK}/build/*.so" "${WORK}/build/*.a")
if(NOT built STREQUAL service)
  message(FATAL_ERROR "built more than the service: ${built}")
endif()
execute_process(COMMAND_ERROR_IS_FATAL ANY COMMAND readelf -d "${service}" OUTPUT_VARIABLE dynamic)
if(dynamic MATCHES "RPATH|RUNPATH")
  message(FATAL_ERROR "a run path is recorded:\n${dynamic}")
endif()

set(ENV{LD_LIBRARY_PATH} "${WORK}/platform")
execute_process(COMMAND_ERROR_IS_FATAL ANY COMMAND ${EMULATOR} "${WLC}" run --library "${service}")
