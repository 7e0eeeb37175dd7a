// A shared library with nothing in it: what loading costs before there is anything to load.
