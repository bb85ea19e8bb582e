include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

install(TARGETS tolvane tolvane_format tolvane_noncall_exceptions EXPORT tolvane
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
)
install(DIRECTORY include/tolvane DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")

set(TOLVANE_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/tolvane)
install(EXPORT tolvane NAMESPACE tolvane:: FILE tolvaneConfig.cmake DESTINATION ${TOLVANE_PACKAGE_DIR})
write_basic_package_version_file(tolvaneConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/tolvaneConfigVersion.cmake DESTINATION ${TOLVANE_PACKAGE_DIR})
