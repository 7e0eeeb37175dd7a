# What a framework engineer builds against: the headers of framework/, a CMake package and a pkg-config
# file. The service itself is not linked but loaded with dlopen.
add_library(WirelessLinkConfig INTERFACE)
target_compile_features(WirelessLinkConfig INTERFACE cxx_std_20)
target_include_directories(WirelessLinkConfig INTERFACE $<INSTALL_INTERFACE:include/nuvrel>)
target_link_libraries(WirelessLinkConfig INTERFACE
  nuvrelcoreutils nuvrelwpacliwrapper $<INSTALL_INTERFACE:${CMAKE_DL_LIBS}>)
install(TARGETS WirelessLinkConfig EXPORT NuvrelWirelessLinkConfig)
install(EXPORT NuvrelWirelessLinkConfig NAMESPACE Nuvrel::
  FILE NuvrelWirelessLinkConfigConfig.cmake
  DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/NuvrelWirelessLinkConfig")
install(DIRECTORY "${PROJECT_SOURCE_DIR}/framework" DESTINATION include/nuvrel
  FILES_MATCHING PATTERN "*.h")

file(WRITE "${CMAKE_BINARY_DIR}/nuvrel-wireless-link-config.pc" "\
prefix=\${pcfiledir}/../..
Name: nuvrel-wireless-link-config
Description: the interfaces of the wireless link configuration service, and its workstation's libraries
Version: ${PROJECT_VERSION}
Cflags: -std=c++20 -I\${prefix}/include/nuvrel
Libs: -L\${prefix}/${CMAKE_INSTALL_LIBDIR} -Wl,-rpath,\${prefix}/${CMAKE_INSTALL_LIBDIR} -lnuvrelcoreutils -lnuvrelwpacliwrapper
")
install(FILES "${CMAKE_BINARY_DIR}/nuvrel-wireless-link-config.pc"
  DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
