# macOS arm64, cross-built without an Apple SDK (`make macos-cross`): link-checked, never run.
# Compiler and linker driver: aarch64-macos/c++ (Zig's clang with its macOS libc headers and
# libc++; clang-14 and ld64.lld-14 link against Zig's libSystem stub, see that script).
set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR arm64)
set(_qx_macos ${CMAKE_CURRENT_LIST_DIR}/aarch64-macos)
set(CMAKE_C_COMPILER ${_qx_macos}/c++)  # only CMake's probes use C; the project is C++
set(CMAKE_CXX_COMPILER ${_qx_macos}/c++)
find_program(CMAKE_AR llvm-ar-14 REQUIRED)
find_program(CMAKE_RANLIB llvm-ranlib-14 REQUIRED)
# Asked for when a language is enabled after the platform files ran (GoogleTest's C).
find_program(CMAKE_INSTALL_NAME_TOOL llvm-install-name-tool-14 REQUIRED)
set(CMAKE_C_COMPILER_WORKS ON)
# CMake learns from the build machine's `sw_vers`, which Linux lacks, that the linker takes
# -rpath (and so that install names are @rpath/...): aarch64-macos/rpath.cmake says it after
# the platform files have run.
set(CMAKE_PROJECT_INCLUDE ${_qx_macos}/rpath.cmake)

# No CoreFoundation and no Boost built for macOS. Both are declared from headers and left to be
# bound when the program loads: CoreFoundation from a declaration header of the calls the code
# makes (aarch64-macos/include), Boost.Log from the build machine's Boost headers. Boost.URL is
# compiled from its headers into the platform library (aarch64-macos/packages). So these links
# allow undefined symbols (-undefined dynamic_lookup); aarch64-macos/check.sh fails the build
# if anything but Boost's and CoreFoundation's symbols is left undefined.
set(CMAKE_CXX_STANDARD_INCLUDE_DIRECTORIES ${_qx_macos}/include)
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-Wl,-undefined,dynamic_lookup")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-Wl,-undefined,dynamic_lookup")
set(QX_COREFOUNDATION_AT_LOAD_TIME ON)
# GoogleTest is built from Debian's sources (aarch64-macos/packages/GTestConfig.cmake).
foreach(package Boost CLI11 GTest)
  set(${package}_DIR ${_qx_macos}/packages CACHE PATH "Stand-in package of the macOS cross-build")
endforeach()
