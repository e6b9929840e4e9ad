# What CMake's Darwin platform file sets when `sw_vers` reports macOS 10.5 or later.
foreach(lang C CXX)
  set(CMAKE_SHARED_LIBRARY_RUNTIME_${lang}_FLAG "-Wl,-rpath,")
  set(CMAKE_EXECUTABLE_RUNTIME_${lang}_FLAG "-Wl,-rpath,")
endforeach()
set(CMAKE_LINK_DEPENDENT_LIBRARY_FILES 0)
