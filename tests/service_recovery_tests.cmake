# The shipped library on its real platform libraries, with an emulated driver that fails.
nuvrel_test(service_recovery_test
  SOURCES service_recovery_test.cpp
  LIBS wlc_parts)
add_dependencies(service_recovery_test nuvrelwirelesslinkconfigservice nuvrelservice_client)
# A sanitizer's dlopen searches this program's run path, if it is of the old kind, not the service's.
target_link_options(service_recovery_test PRIVATE LINKER:--disable-new-dtags)
target_compile_definitions(service_recovery_test PRIVATE
  SERVICE_LIBRARY="$<TARGET_FILE:nuvrelwirelesslinkconfigservice>"
  EXPORTED_SYMBOLS="${CMAKE_CURRENT_SOURCE_DIR}/exported_symbols.txt"
  NM="${CMAKE_NM}")

# Many threads at one service.
nuvrel_service_test(service_stress_test service_stress_test.cpp)
target_link_libraries(service_stress_test PRIVATE emulated_driver)
add_dependencies(service_stress_test scripted_client)
set_target_properties(service_stress_test PROPERTIES BUILD_RPATH "${CMAKE_BINARY_DIR}/scripted_client")
