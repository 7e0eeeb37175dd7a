# Tests of the service: its objects on a scripted platform, and the library as it is shipped.

# The discovery client library, scripted, in a folder of its own for each way it is built.
function(nuvrel_scripted_client folder)
  add_library(${folder} SHARED scripted_service_client.cpp)
  set_target_properties(${folder} PROPERTIES
    OUTPUT_NAME nuvrelservice_client
    LIBRARY_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/${folder}")
  target_compile_definitions(${folder} PRIVATE ${ARGN})
  target_link_libraries(${folder} PRIVATE nuvrel_build)
endfunction()
nuvrel_scripted_client(scripted_client)
nuvrel_scripted_client(scripted_client_no_factory WITHOUT_FACTORY)
nuvrel_scripted_client(scripted_client_no_release WITHOUT_RELEASE)

# The client library takes its script from the program (ENABLE_EXPORTS). A sanitizer's dlopen
# searches the program's run path only when it is of the old kind (--disable-new-dtags).
function(nuvrel_service_test name)
  nuvrel_test(${name}
    SOURCES ${ARGN} scripted_platform.cpp
    LIBS wlc_service_objects nuvrel_log nuvrelcoreutils ${CMAKE_DL_LIBS})
  set_target_properties(${name} PROPERTIES ENABLE_EXPORTS ON)
  # The tests look at guarded members while nothing else runs.
  target_compile_options(${name} PRIVATE -Wno-thread-safety)
  target_link_options(${name} PRIVATE LINKER:--wrap=write LINKER:--disable-new-dtags)
endfunction()

nuvrel_service_test(service_test
  service_dispatch_test.cpp service_transcript_test.cpp)
target_compile_definitions(service_test PRIVATE
  TRANSCRIPTS="${CMAKE_CURRENT_SOURCE_DIR}/service_transcripts")
add_dependencies(service_test scripted_client)
set_target_properties(service_test PROPERTIES BUILD_RPATH "${CMAKE_BINARY_DIR}/scripted_client")

# What this program finds in its search path is no library.
nuvrel_service_test(service_loader_test service_loader_test.cpp)
file(WRITE "${CMAKE_BINARY_DIR}/scripted_client_broken/libnuvrelservice_client.so" "")
set_target_properties(service_loader_test PROPERTIES
  BUILD_RPATH "${CMAKE_BINARY_DIR}/scripted_client_broken")
add_dependencies(service_loader_test scripted_client_no_factory scripted_client_no_release)
target_compile_definitions(service_loader_test PRIVATE
  NO_FACTORY_DIR="${CMAKE_BINARY_DIR}/scripted_client_no_factory"
  NO_RELEASE_DIR="${CMAKE_BINARY_DIR}/scripted_client_no_release")
