# The installed package: <contentcoding/base64.hpp> and its like under include; the class's headers
# under include/contentcoding, so that "support/..." meets nobody else's; a CMake package; a pkg-config
# file.
include(CMakePackageConfigHelpers)

set(headers ${CMAKE_INSTALL_INCLUDEDIR}/contentcoding)
set(package ${CMAKE_INSTALL_LIBDIR}/cmake/ContentCoding)

install(TARGETS contentcoding EXPORT ContentCodingTargets
    FILE_SET HEADERS DESTINATION ${headers}
    FILE_SET face DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT ContentCodingTargets NAMESPACE ContentCoding:: DESTINATION ${package})

# They are built with the paths that they have once installed: a path that CMake has to change when it
# installs ends with an empty entry, which the loader takes for the current folder.
set(installed contentcoding)
if(CONTENTCODING_BUILD_TOOL)
    install(TARGETS contentcode)
    list(APPEND installed contentcode)
endif()
set_target_properties(${installed} PROPERTIES
    BUILD_WITH_INSTALL_RPATH ON
    INSTALL_RPATH_USE_LINK_PATH ON)
if(CONTENTCODING_BUILD_TOOL AND BUILD_SHARED_LIBS)
    file(RELATIVE_PATH library_folder ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
    set(library_path ${CMAKE_INSTALL_FULL_LIBDIR})
    # The tool finds a library beside it, installed (and moved) as in the build tree.
    if(library_folder MATCHES "^\\.\\./[^.]")
        set(library_path "$ORIGIN/${library_folder}")
        set_target_properties(contentcoding PROPERTIES
            LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/tool/${library_folder})
    endif()
    set_property(TARGET contentcode APPEND PROPERTY INSTALL_RPATH "${library_path}")
endif()

configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/ContentCodingConfig.cmake.in
    ${PROJECT_BINARY_DIR}/ContentCodingConfig.cmake INSTALL_DESTINATION ${package})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/ContentCodingConfigVersion.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES
    ${PROJECT_BINARY_DIR}/ContentCodingConfig.cmake
    ${PROJECT_BINARY_DIR}/ContentCodingConfigVersion.cmake
    DESTINATION ${package})

# Relative to the file itself, so that an installed tree can be moved; a folder that was asked for by
# its absolute path stays there.
set(pkgconfig_libdir ${CMAKE_INSTALL_FULL_LIBDIR})
set(pkgconfig_prefix ${CMAKE_INSTALL_PREFIX})
if(NOT IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
    set(pkgconfig_libdir "\${prefix}/${CMAKE_INSTALL_LIBDIR}")
    file(RELATIVE_PATH pkgconfig_prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
    string(PREPEND pkgconfig_prefix "\${pcfiledir}/")
endif()
set(pkgconfig_includedir ${CMAKE_INSTALL_INCLUDEDIR})
if(NOT IS_ABSOLUTE "${CMAKE_INSTALL_INCLUDEDIR}")
    set(pkgconfig_includedir "\${prefix}/${CMAKE_INSTALL_INCLUDEDIR}")
endif()
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
