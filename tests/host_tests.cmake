# Tests of host: see nuvrel_test in CMakeLists.txt.
