# Tests of emulated_driver: see nuvrel_test in CMakeLists.txt.
nuvrel_test(emulated_driver_test
  SOURCES
    emulated_driver_socket_test.cpp
    emulated_driver_table_test.cpp
  LIBS emulated_driver)
target_compile_definitions(emulated_driver_test PRIVATE
  EMULATED_DRIVER_COMMANDS="${CMAKE_CURRENT_SOURCE_DIR}/emulated_driver_commands.txt"
  EMULATED_DRIVER_FAULTS="${CMAKE_CURRENT_SOURCE_DIR}/emulated_driver_faults.txt")
