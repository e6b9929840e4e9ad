# Boost for the macOS cross-build, which has no Boost built for macOS: the build machine's
# headers; Boost.URL compiled from its headers into whatever links it; Boost.Log's compiled
# part bound when the program loads (-undefined dynamic_lookup in the toolchain file).
include(${CMAKE_CURRENT_LIST_DIR}/host_headers.cmake)
if(NOT TARGET Boost::headers)
  qx_host_headers(_qx_boost_include boost)
  add_library(Boost::headers INTERFACE IMPORTED)
  set_target_properties(Boost::headers PROPERTIES
    INTERFACE_INCLUDE_DIRECTORIES ${_qx_boost_include}
    INTERFACE_COMPILE_DEFINITIONS BOOST_ALL_NO_LIB)
  add_library(Boost::log INTERFACE IMPORTED)
  set_target_properties(Boost::log PROPERTIES INTERFACE_LINK_LIBRARIES Boost::headers
    INTERFACE_COMPILE_DEFINITIONS BOOST_LOG_DYN_LINK)
  add_library(Boost::locale INTERFACE IMPORTED)
  set_target_properties(Boost::locale PROPERTIES INTERFACE_LINK_LIBRARIES Boost::headers)
  add_library(Boost::url INTERFACE IMPORTED)
  set_target_properties(Boost::url PROPERTIES INTERFACE_LINK_LIBRARIES Boost::headers
    INTERFACE_SOURCES ${CMAKE_CURRENT_LIST_DIR}/boost_url.cpp)
endif()
set(Boost_FOUND TRUE)
