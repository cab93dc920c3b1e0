# What `cmake --install` adds for other projects: a CMake package and a pkg-config file.
include(CMakePackageConfigHelpers)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/Harbolance)

install(EXPORT HarbolanceTargets NAMESPACE Harbolance:: DESTINATION ${package_dir})
file(WRITE ${CMAKE_BINARY_DIR}/HarbolanceConfig.cmake
    "include(\"\${CMAKE_CURRENT_LIST_DIR}/HarbolanceTargets.cmake\")\n"
    "include(\"\${CMAKE_CURRENT_LIST_DIR}/HarbidlGenerate.cmake\")\n")
write_basic_package_version_file(${CMAKE_BINARY_DIR}/HarbolanceConfigVersion.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_BINARY_DIR}/HarbolanceConfig.cmake ${CMAKE_BINARY_DIR}/HarbolanceConfigVersion.cmake
    DESTINATION ${package_dir})
install(FILES ${CMAKE_CURRENT_LIST_DIR}/HarbidlGenerate.cmake DESTINATION ${package_dir})

# Relative, so that the file is also right after `cmake --install --prefix`.
file(RELATIVE_PATH pkgconfig_to_prefix ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" pkgconfig_to_prefix ${pkgconfig_to_prefix})
configure_file(${CMAKE_CURRENT_LIST_DIR}/harbolance.pc.in ${CMAKE_BINARY_DIR}/harbolance.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/harbolance.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
