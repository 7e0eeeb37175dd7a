# Installs into a folder, moves it and has the installed wlc play its session on what lies beside it.
#   cmake -DBUILD= -DPREFIX= -DLIBDIR= [-DEMULATOR=] -P this
file(REMOVE_RECURSE "${PREFIX}" "${PREFIX}-moved")
execute_process(COMMAND_ERROR_IS_FATAL ANY
  COMMAND ${CMAKE_COMMAND} --install "${BUILD}" --prefix "${PREFIX}")
file(RENAME "${PREFIX}" "${PREFIX}-moved")
execute_process(COMMAND_ERROR_IS_FATAL ANY COMMAND ${EMULATOR} "${PREFIX}-moved/bin/wlc" run
  OUTPUT_VARIABLE output)
foreach(expected "${PREFIX}-moved/${LIBDIR}/libnuvrelwirelesslinkconfigservice.so"
    "9 commands, every status zero or more")
  string(FIND "${output}" "${expected}" found)
  if(found EQUAL -1)
    message(FATAL_ERROR "\"${expected}\" is not in\n${output}")
  endif()
endforeach()
# Nothing in it may point back at the build.
file(GLOB installed "${PREFIX}-moved/bin/*" "${PREFIX}-moved/${LIBDIR}/*.so")
list(LENGTH installed count)
if(NOT count EQUAL 5)
  message(FATAL_ERROR "installed: ${installed}")
endif()
foreach(file IN LISTS installed)
  execute_process(COMMAND_ERROR_IS_FATAL ANY COMMAND readelf -d "${file}" OUTPUT_VARIABLE dynamic)
  string(FIND "${dynamic}" "${BUILD}" found)
  if(NOT found EQUAL -1)
    message(FATAL_ERROR "${file} looks for libraries in the build:\n${dynamic}")
  endif()
endforeach()
# Stripped, with its man page, its examples, and a completion that knows its options and commands.
file(GLOB_RECURSE beside RELATIVE "${PREFIX}-moved/share" "${PREFIX}-moved/share/*")
list(LENGTH beside count)
execute_process(COMMAND readelf -S --wide "${PREFIX}-moved/bin/wlc" OUTPUT_VARIABLE sections)
if(NOT count EQUAL 7 OR sections MATCHES "symtab|debug")
  message(FATAL_ERROR "installed: ${beside}; sections of wlc: ${sections}")
endif()
if(NOT EMULATOR)
  execute_process(COMMAND bash -euc "source '${PREFIX}-moved/share/bash-completion/completions/wlc'
    complete() { COMP_WORDS=('${PREFIX}-moved/bin/wlc' \"$@\"); COMP_CWORD=$#; _wlc; echo \${COMPREPLY[*]}; }
    complete d; complete run --su; complete run init cl; complete run --log-level w; complete driver --f"
    OUTPUT_VARIABLE completed)
  if(NOT completed STREQUAL "driver\n--summary\nclear-lapb-policies\nwarn\n--fault\n")
    message(FATAL_ERROR "completed: ${completed}")
  endif()
endif()
