# Tests of host: see nuvrel_test in CMakeLists.txt.
nuvrel_test(host_coreutils_test
  SOURCES host_coreutils_test.cpp
  LIBS host_toml_config nuvrelcoreutils nuvrel_log)
target_compile_definitions(host_coreutils_test PRIVATE
  HOST_CONFIG_REFUSALS="${CMAKE_CURRENT_SOURCE_DIR}/host_config_refusals.txt")
nuvrel_test(host_wpa_cli_wrapper_test
  SOURCES host_wpa_cli_wrapper_test.cpp
  LIBS nuvrelwpacliwrapper emulated_driver)
nuvrel_test(host_service_client_test
  SOURCES host_service_client_test.cpp
  LIBS nuvrelservice_client)
