# How others find the installed libraries: find_package(si_parser), or pkg-config.

include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/si_parser)
install(EXPORT si_parser NAMESPACE orvix:: FILE si_parserTargets.cmake DESTINATION ${package_dir})
configure_package_config_file(cmake/si_parserConfig.cmake.in
    ${PROJECT_BINARY_DIR}/si_parserConfig.cmake
    INSTALL_DESTINATION ${package_dir}
    NO_SET_AND_CHECK_MACRO
    NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/si_parserConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES
    ${PROJECT_BINARY_DIR}/si_parserConfig.cmake
    ${PROJECT_BINARY_DIR}/si_parserConfigVersion.cmake
    DESTINATION ${package_dir})

# The prefix is found from the .pc file's own place, so that an installed tree can be moved.
file(RELATIVE_PATH prefix_from_pc
    ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
# CMAKE_INSTALL_LIBDIR and INCLUDEDIR may be absolute.
file(RELATIVE_PATH libdir_from_prefix ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_LIBDIR})
file(RELATIVE_PATH includedir_from_prefix ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_INCLUDEDIR})
foreach(package orvix_log si_parser section_feed)
    configure_file(cmake/${package}.pc.in ${PROJECT_BINARY_DIR}/${package}.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/${package}.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()
