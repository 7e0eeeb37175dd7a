# Tests of host: see nuvrel_test in CMakeLists.txt.
nuvrel_test(host_test
  SOURCES
    host_coreutils_test.cpp host_service_client_test.cpp host_wpa_cli_wrapper_test.cpp
    emulated_driver_habits_test.cpp emulated_driver_socket_test.cpp emulated_driver_table_test.cpp
  LIBS host_toml_config nuvrelcoreutils nuvrel_log nuvrelwpacliwrapper nuvrelservice_client
    emulated_driver)
target_compile_definitions(host_test PRIVATE
  EMULATED_DRIVER_COMMANDS="${CMAKE_CURRENT_SOURCE_DIR}/emulated_driver_commands.txt"
  EMULATED_DRIVER_FAULTS="${CMAKE_CURRENT_SOURCE_DIR}/emulated_driver_faults.txt")
