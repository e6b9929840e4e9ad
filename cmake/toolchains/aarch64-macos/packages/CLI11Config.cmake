# CLI11 (header-only) for the macOS cross-build: the build machine's headers.
include(${CMAKE_CURRENT_LIST_DIR}/host_headers.cmake)
if(NOT TARGET CLI11::CLI11)
  qx_host_headers(_qx_cli11_include CLI)
  add_library(CLI11::CLI11 INTERFACE IMPORTED)
  set_target_properties(CLI11::CLI11 PROPERTIES INTERFACE_INCLUDE_DIRECTORIES ${_qx_cli11_include})
endif()
