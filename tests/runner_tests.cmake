# Tests of runner: wlc as a person starts it, as it is installed, and the programs that it meets.
file(GLOB transcripts CONFIGURE_DEPENDS runner_transcripts/*.txt)
foreach(transcript IN LISTS transcripts)
  cmake_path(GET transcript STEM name)
  add_test(NAME RunnerTranscript.${name} COMMAND
    "${CMAKE_CURRENT_SOURCE_DIR}/runner_transcript_test.sh" "${transcript}" "${PROJECT_BINARY_DIR}"
    "${CMAKE_CROSSCOMPILING_EMULATOR}")
  set_tests_properties(RunnerTranscript.${name} PROPERTIES TIMEOUT 120)
endforeach()

add_test(NAME runner_installed COMMAND ${CMAKE_COMMAND}
  "-DBUILD=${PROJECT_BINARY_DIR}" "-DPREFIX=${CMAKE_CURRENT_BINARY_DIR}/installed"
  "-DLIBDIR=${CMAKE_INSTALL_LIBDIR}" "-DEMULATOR=${CMAKE_CROSSCOMPILING_EMULATOR}"
  -P "${CMAKE_CURRENT_SOURCE_DIR}/runner_install_test.cmake")
