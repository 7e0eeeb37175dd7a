# Tests of emulated_driver: see nuvrel_test in CMakeLists.txt.
