# Tests of service: see nuvrel_test in CMakeLists.txt.
