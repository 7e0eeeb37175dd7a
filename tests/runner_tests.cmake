# Tests of runner: wlc as it is built, as it is installed, and the programs that it meets.
find_program(WPA_SUPPLICANT wpa_supplicant PATHS /sbin /usr/sbin REQUIRED)
find_program(WPA_CLI wpa_cli PATHS /sbin /usr/sbin REQUIRED)
find_path(NUVREL_JSON_INCLUDE nlohmann/json.hpp REQUIRED)
nuvrel_test(runner_test
  SOURCES
    runner_fault_test.cpp
    runner_real_peer_test.cpp
    runner_session_test.cpp)
target_include_directories(runner_test SYSTEM PRIVATE "${NUVREL_JSON_INCLUDE}")
target_compile_definitions(runner_test PRIVATE
  WLC_PROGRAM="$<TARGET_FILE:wlc>"
  WLC_EMULATOR="${CMAKE_CROSSCOMPILING_EMULATOR}"
  WLC_EXAMPLES="${PROJECT_SOURCE_DIR}/examples"
  WPA_SUPPLICANT="${WPA_SUPPLICANT}"
  WPA_CLI="${WPA_CLI}")
add_dependencies(runner_test wlc)

add_test(NAME runner_installed COMMAND ${CMAKE_COMMAND}
  "-DBUILD=${PROJECT_BINARY_DIR}" "-DPREFIX=${CMAKE_CURRENT_BINARY_DIR}/installed"
  "-DLIBDIR=${CMAKE_INSTALL_LIBDIR}" "-DEMULATOR=${CMAKE_CROSSCOMPILING_EMULATOR}"
  -P "${CMAKE_CURRENT_SOURCE_DIR}/runner_install_test.cmake")
