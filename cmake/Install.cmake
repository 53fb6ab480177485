# The installed package: headers under include/contentcoding, so that "support/..." meets nobody
# else's; a CMake package; a pkg-config file.
include(CMakePackageConfigHelpers)

set(headers ${CMAKE_INSTALL_INCLUDEDIR}/contentcoding)
set(package ${CMAKE_INSTALL_LIBDIR}/cmake/ContentCoding)

install(TARGETS contentcoding EXPORT ContentCodingTargets
    FILE_SET HEADERS DESTINATION ${headers})
install(EXPORT ContentCodingTargets NAMESPACE ContentCoding:: DESTINATION ${package})
if(CONTENTCODING_BUILD_TOOL)
    install(TARGETS contentcode)
endif()

configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/ContentCodingConfig.cmake.in
    ${PROJECT_BINARY_DIR}/ContentCodingConfig.cmake INSTALL_DESTINATION ${package})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/ContentCodingConfigVersion.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES
    ${PROJECT_BINARY_DIR}/ContentCodingConfig.cmake
    ${PROJECT_BINARY_DIR}/ContentCodingConfigVersion.cmake
    DESTINATION ${package})

# Relative to the file itself, so that an installed tree can be moved.
file(RELATIVE_PATH prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
# A static library passes on what it needs; a shared one has found it already.
if(BUILD_SHARED_LIBS)
    set(pkgconfig_requires "Requires.private: icu-uc")
else()
    set(pkgconfig_requires "Requires: icu-uc")
endif()
configure_file(${CMAKE_CURRENT_LIST_DIR}/contentcoding.pc.in
    ${PROJECT_BINARY_DIR}/contentcoding.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/contentcoding.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
