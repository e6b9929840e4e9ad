# qx_host_headers(<folder>...): a folder that holds only the named header folders of the build
# machine's /usr/include, for header-only packages of the macOS cross-build. Pointing the
# compiler at /usr/include itself would put the build machine's C library before macOS's.
function(qx_host_headers out)
  set(root ${CMAKE_BINARY_DIR}/host-headers)
  foreach(folder IN LISTS ARGN)
    if(NOT EXISTS ${root}/${folder})
      file(MAKE_DIRECTORY ${root})
      file(CREATE_LINK /usr/include/${folder} ${root}/${folder} SYMBOLIC)
    endif()
  endforeach()
  set(${out} ${root} PARENT_SCOPE)
endfunction()
