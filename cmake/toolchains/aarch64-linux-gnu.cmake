# Linux arm64 with Debian's cross compiler and arm64 multiarch libraries (`make arm64-test`).
# Programs run under qemu-user, so ctest (test discovery included) runs everything emulated.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)

# Boost.Log's arm64 package cannot sit beside the amd64 one, so scripts/bootstrap.sh unpacks it
# under build/arm64-boost-log; the rest of Boost comes from the multiarch packages. Programs
# linked against our installed libraries find it through -rpath-link, and at run time through
# the emulator's environment.
set(_qx_boost_log ${CMAKE_CURRENT_LIST_DIR}/../../build/arm64-boost-log/usr/lib/aarch64-linux-gnu)
cmake_path(NORMAL_PATH _qx_boost_log)
set(boost_log_DIR ${_qx_boost_log}/cmake/boost_log-1.81.0 CACHE PATH "arm64 Boost.Log")
set(boost_log_setup_DIR ${_qx_boost_log}/cmake/boost_log_setup-1.81.0 CACHE PATH "arm64 Boost.Log")
set(QX_CROSS_LINK_FLAGS "-Wl,-rpath-link,${_qx_boost_log}")
set(CMAKE_EXE_LINKER_FLAGS_INIT ${QX_CROSS_LINK_FLAGS})
set(CMAKE_SHARED_LINKER_FLAGS_INIT ${QX_CROSS_LINK_FLAGS})

find_program(QX_QEMU_AARCH64 qemu-aarch64 REQUIRED)
set(CMAKE_CROSSCOMPILING_EMULATOR ${QX_QEMU_AARCH64} -E LD_LIBRARY_PATH=${_qx_boost_log})
