include(CMakePackageConfigHelpers)

# Installed libraries find each other where they lie, wherever the prefix is moved to: the
# script library needs the platform library, and a consumer's own RUNPATH does not reach
# the libraries' dependencies.
set_target_properties(qx_scriptutil qx_platform PROPERTIES INSTALL_RPATH "$ORIGIN")

install(TARGETS qx_scriptutil qx_platform EXPORT qx_scriptutilTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/platform/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES ${PROJECT_BINARY_DIR}/generated/qx_scriptutil/version.h
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qx_scriptutil)
install(EXPORT qx_scriptutilTargets NAMESPACE qx_scriptutil::
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/qx_scriptutil)

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/qx_scriptutilConfig.cmake.in
    ${PROJECT_BINARY_DIR}/qx_scriptutilConfig.cmake
    INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/qx_scriptutil)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/qx_scriptutilConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/qx_scriptutilConfig.cmake
              ${PROJECT_BINARY_DIR}/qx_scriptutilConfigVersion.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/qx_scriptutil)

configure_file(${PROJECT_SOURCE_DIR}/cmake/qx_scriptutil.pc.in
               ${PROJECT_BINARY_DIR}/qx_scriptutil.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/qx_scriptutil.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
