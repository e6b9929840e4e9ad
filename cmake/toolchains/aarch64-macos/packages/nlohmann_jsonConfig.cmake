# nlohmann_json (header-only) for the macOS cross-build: the build machine's headers.
include(${CMAKE_CURRENT_LIST_DIR}/host_headers.cmake)
if(NOT TARGET nlohmann_json::nlohmann_json)
  qx_host_headers(_qx_json_include nlohmann)
  add_library(nlohmann_json::nlohmann_json INTERFACE IMPORTED)
  set_target_properties(nlohmann_json::nlohmann_json PROPERTIES
    INTERFACE_INCLUDE_DIRECTORIES ${_qx_json_include})
endif()
