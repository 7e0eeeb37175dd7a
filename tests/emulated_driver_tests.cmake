# Tests of emulated_driver: see nuvrel_test in CMakeLists.txt.
nuvrel_test(emulated_driver_test
  SOURCES
    emulated_driver_fault_test.cpp
    emulated_driver_model_test.cpp
    emulated_driver_socket_test.cpp
  LIBS emulated_driver)
