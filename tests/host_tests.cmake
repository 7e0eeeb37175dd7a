# Tests of host: see nuvrel_test in CMakeLists.txt.
nuvrel_test(host_coreutils_test
  SOURCES host_coreutils_test.cpp
  LIBS host_toml_config nuvrelcoreutils nuvrel_log)
nuvrel_test(host_wpa_cli_wrapper_test
  SOURCES host_wpa_cli_wrapper_test.cpp
  LIBS nuvrelwpacliwrapper)
nuvrel_test(host_service_client_test
  SOURCES host_service_client_test.cpp
  LIBS nuvrelservice_client)
