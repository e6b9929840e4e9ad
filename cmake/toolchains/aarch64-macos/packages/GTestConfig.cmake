# GoogleTest and GoogleMock for the macOS cross-build, which has none built for macOS: Debian's
# sources (package googletest, /usr/src/googletest) built with the cross toolchain and linked
# statically into each test program.
if(NOT TARGET GTest::gtest)
  set(INSTALL_GTEST OFF)
  add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
endif()
set(GTest_FOUND TRUE)
