# The service: objects that the in-process tests link as well, and the one shared library.
add_library(wlc_service_objects OBJECT
  service/dispatch.cpp
  service/instance.cpp
  service/library_loader.cpp
  service/lifecycle.cpp
  config/load_config.cpp
  link/command_channel.cpp
  link/link_settings.cpp
  link/sysfs_link_configuration.cpp
  lapb/flow_policy_table.cpp
  lapb/message_pattern.cpp
  lapb/service_class_creation.cpp
  lapb/service_class_discovery.cpp)
set_target_properties(wlc_service_objects PROPERTIES
  CXX_VISIBILITY_PRESET hidden
  VISIBILITY_INLINES_HIDDEN ON)
target_link_libraries(wlc_service_objects PUBLIC nuvrel_build nuvrel_log)

# A release is compiled for speed, but not at any size, and for size where it runs once in a session:
# 124 KB instead of 172 (with the code in one segment with the tables, below: 4 of them).
target_compile_options(wlc_service_objects PRIVATE "$<$<CONFIG:Release>:-O2>")
set_source_files_properties(
  config/load_config.cpp lapb/message_pattern.cpp link/sysfs_link_configuration.cpp
  service/instance.cpp service/library_loader.cpp service/lifecycle.cpp
  PROPERTIES COMPILE_OPTIONS "$<$<CONFIG:Release>:-Os>")
# GCC's "rep movs" and "rep stos" for a packet and the command buffer take longer to start than the
# C library's calls to finish: 15 of the 25 ns of a packet.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_SYSTEM_PROCESSOR STREQUAL "x86_64")
  set_source_files_properties(service/dispatch.cpp link/command_channel.cpp
    PROPERTIES COMPILE_OPTIONS
      "$<$<CONFIG:Release>:-mmemcpy-strategy=libcall:-1:noalign;-mmemset-strategy=libcall:-1:noalign>")
endif()

set(NUVREL_EXPORTS "${PROJECT_SOURCE_DIR}/service/exports.map")
add_library(nuvrelwirelesslinkconfigservice SHARED)
target_link_libraries(nuvrelwirelesslinkconfigservice
  PRIVATE wlc_service_objects nuvrel_log nuvrelcoreutils nuvrelwpacliwrapper ${CMAKE_DL_LIBS})
target_link_options(nuvrelwirelesslinkconfigservice
  PRIVATE "LINKER:--version-script=${NUVREL_EXPORTS}" "LINKER:-z,noseparate-code")
set_property(TARGET nuvrelwirelesslinkconfigservice PROPERTY LINK_DEPENDS "${NUVREL_EXPORTS}")
set_property(TARGET nuvrelwirelesslinkconfigservice PROPERTY LINKER_LANGUAGE CXX)
install(TARGETS nuvrelwirelesslinkconfigservice LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}")
