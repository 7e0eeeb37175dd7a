# Tests of runner: see nuvrel_test in CMakeLists.txt.
