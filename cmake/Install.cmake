# Installing the two shared libraries as a package: headers, the shared objects with their
# SONAME links, a CMake package (qxinstall_cpputilConfig.cmake, targets qxinstall::platform
# and qxinstall::cpputil) and a pkg-config file. Included from the top-level CMakeLists.txt
# once both targets exist.
include(CMakePackageConfigHelpers)

set(QX_INSTALL_CMAKEDIR "${CMAKE_INSTALL_LIBDIR}/cmake/qxinstall_cpputil"
    CACHE STRING "Where the CMake package files are installed, relative to the prefix")
set(QX_INSTALL_PKGCONFIGDIR "${CMAKE_INSTALL_LIBDIR}/pkgconfig"
    CACHE STRING "Where qxinstall_cpputil.pc is installed, relative to the prefix")

# The library finds its platform layer beside itself wherever the prefix ends up.
if(APPLE)
  set_target_properties(qxinstall_cpputil PROPERTIES INSTALL_RPATH "@loader_path")
else()
  set_target_properties(qxinstall_cpputil PROPERTIES INSTALL_RPATH "$ORIGIN")
endif()

install(TARGETS qxinstall_platform qxinstall_cpputil
  EXPORT qxinstall_cpputilTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

# Both include roots merge into one: install/cpputil/, install/platformutil/, fl/, foundation/.
install(DIRECTORY
    ${PROJECT_SOURCE_DIR}/include/
    ${PROJECT_SOURCE_DIR}/platform/include/
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  FILES_MATCHING PATTERN "*.hpp")

# The installation log's format for lnav, the log viewer support engineers use:
# `lnav -i <prefix>/share/qxinstall/lnav/qxinstall_log.json` installs it for a user.
install(FILES ${PROJECT_SOURCE_DIR}/share/lnav/qxinstall_log.json
  DESTINATION ${CMAKE_INSTALL_DATADIR}/qxinstall/lnav)

install(EXPORT qxinstall_cpputilTargets
  NAMESPACE qxinstall::
  FILE qxinstall_cpputilTargets.cmake
  DESTINATION ${QX_INSTALL_CMAKEDIR})

configure_package_config_file(
  ${CMAKE_CURRENT_LIST_DIR}/qxinstall_cpputilConfig.cmake.in
  ${PROJECT_BINARY_DIR}/qxinstall_cpputilConfig.cmake
  INSTALL_DESTINATION ${QX_INSTALL_CMAKEDIR})
write_basic_package_version_file(
  ${PROJECT_BINARY_DIR}/qxinstall_cpputilConfigVersion.cmake
  VERSION ${PROJECT_VERSION}
  COMPATIBILITY SameMajorVersion)
install(FILES
    ${PROJECT_BINARY_DIR}/qxinstall_cpputilConfig.cmake
    ${PROJECT_BINARY_DIR}/qxinstall_cpputilConfigVersion.cmake
  DESTINATION ${QX_INSTALL_CMAKEDIR})

# The .pc file locates the prefix from its own folder, so the package stays usable when it
# is installed with `cmake --install --prefix` elsewhere than the configured prefix.
function(_qx_pc_dir out dir)
  if(IS_ABSOLUTE "${dir}")
    set(${out} "${dir}" PARENT_SCOPE)
  else()
    set(${out} "\${prefix}/${dir}" PARENT_SCOPE)
  endif()
endfunction()
if(IS_ABSOLUTE "${QX_INSTALL_PKGCONFIGDIR}")
  set(QX_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
else()
  file(RELATIVE_PATH _qx_up "/prefix/${QX_INSTALL_PKGCONFIGDIR}" "/prefix")
  string(REGEX REPLACE "/$" "" _qx_up "${_qx_up}")
  set(QX_PC_PREFIX "\${pcfiledir}/${_qx_up}")
endif()
_qx_pc_dir(QX_PC_LIBDIR "${CMAKE_INSTALL_LIBDIR}")
_qx_pc_dir(QX_PC_INCLUDEDIR "${CMAKE_INSTALL_INCLUDEDIR}")
configure_file(${CMAKE_CURRENT_LIST_DIR}/qxinstall_cpputil.pc.in
  ${PROJECT_BINARY_DIR}/qxinstall_cpputil.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/qxinstall_cpputil.pc DESTINATION ${QX_INSTALL_PKGCONFIGDIR})
