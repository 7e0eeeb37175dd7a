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
  lapb/service_class_creation.cpp
  lapb/service_class_discovery.cpp)
set_target_properties(wlc_service_objects PROPERTIES
  CXX_VISIBILITY_PRESET hidden
  VISIBILITY_INLINES_HIDDEN ON)
target_link_libraries(wlc_service_objects PUBLIC nuvrel_build nuvrel_log)

target_compile_options(wlc_service_objects PRIVATE "$<$<CONFIG:Release>:-Os>")

set(NUVREL_EXPORTS "${PROJECT_SOURCE_DIR}/service/exports.map")
add_library(nuvrelwirelesslinkconfigservice SHARED)
target_link_libraries(nuvrelwirelesslinkconfigservice
  PRIVATE wlc_service_objects nuvrel_log nuvrelcoreutils nuvrelwpacliwrapper ${CMAKE_DL_LIBS})
target_link_options(nuvrelwirelesslinkconfigservice
  PRIVATE "LINKER:--version-script=${NUVREL_EXPORTS}")
set_property(TARGET nuvrelwirelesslinkconfigservice PROPERTY LINK_DEPENDS "${NUVREL_EXPORTS}")
set_property(TARGET nuvrelwirelesslinkconfigservice PROPERTY LINKER_LANGUAGE CXX)
install(TARGETS nuvrelwirelesslinkconfigservice LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}")
