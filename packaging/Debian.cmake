# Debian's packages, one for each component of the installation: cpack in the tree of the preset "package", whose prefix
# is /usr. In the tree of another prefix it packs the same files; libraries are then in /usr/lib itself.
set(WDLT_MAINTAINER "wdltcfg maintainers <maintainers@wdltcfg.example>" CACHE STRING "Who answers for the packages")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME wdltcfg)
set(CPACK_PACKAGE_CONTACT ${WDLT_MAINTAINER})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY}) # of the first package
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

# wdlt_package(COMPONENT PACKAGE SECTION SUMMARY TEXT): with a copyright and a changelog, which an installation by other
# means has no use for.
function(wdlt_package component package section summary text)
    string(TOUPPER ${component} upper)
    set(CPACK_COMPONENT_${upper}_GROUP ${component} PARENT_SCOPE)
    set(CPACK_COMPONENT_${upper}-PACKAGE_GROUP ${component} PARENT_SCOPE)
    set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${package} PARENT_SCOPE)
    set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section} PARENT_SCOPE)
    set(CPACK_COMPONENT_${upper}_DESCRIPTION "${summary}\n${text}" PARENT_SCOPE)
    set(CPACK_COMPONENT_GROUP_${upper}_DESCRIPTION "${summary}\n${text}" PARENT_SCOPE)
    list(APPEND CPACK_COMPONENTS_ALL ${component} ${component}-package)
    set(CPACK_COMPONENTS_ALL ${CPACK_COMPONENTS_ALL} PARENT_SCOPE)
    install(FILES debian/copyright ${CMAKE_CURRENT_BINARY_DIR}/changelog.Debian.gz
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package} COMPONENT ${component}-package EXCLUDE_FROM_ALL)
endfunction()

wdlt_package(library libwdltcfg1 libs "settings of the Wardlet content-scanning service - library"
    "Reads and changes the settings of the local content-scanning proxy service\nWardlet, which many processes share.")
wdlt_package(development libwdltcfg-dev libdevel "settings of the Wardlet content-scanning service - development"
    "Headers, CMake package and pkg-config files for programs that read or change\nthe settings of the local \
content-scanning proxy service Wardlet, and the\ndocuments for their programmers.")
set(same_version "libwdltcfg1 (= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS ${same_version})
if(CMAKE_LIBRARY_ARCHITECTURE AND CMAKE_INSTALL_LIBDIR STREQUAL "lib/${CMAKE_LIBRARY_ARCHITECTURE}")
    set(CPACK_DEBIAN_LIBRARY_PACKAGE_MULTIARCH same)
    set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_MULTIARCH same)
endif()
foreach(file shlibs triggers postinst postrm)
    configure_file(debian/${file} ${file} @ONLY)
    list(APPEND CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_BINARY_DIR}/${file})
endforeach()
# The log's settings are beside the library, which is no place for what an administrator writes.
file(CREATE_LINK /etc/wdltcfg/Wardlet.ini ${CMAKE_CURRENT_BINARY_DIR}/Wardlet.ini SYMBOLIC)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/Wardlet.ini
    DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library-package EXCLUDE_FROM_ALL)
if(WDLT_BUILD_TOOLS)
    wdlt_package(tools wdltcfg-tools admin "settings of the Wardlet content-scanning service - tools"
        "The control panel on the command line, a tool for the registry itself,\nand a stand-in for the service.")
    set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS ${same_version})
endif()

if(WDLT_BUILD_PYTHON)
    wdlt_package(python python3-wdltcfg python "settings of the Wardlet content-scanning service - Python"
        "Reads and changes the settings of the local content-scanning proxy service\nWardlet from Python: typed records, \
features, lists, the mutex of all changes.")
    set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "python3 (>= 3.9), ${same_version}")
    set(CPACK_DEBIAN_PYTHON_PACKAGE_ARCHITECTURE all)
    set(CPACK_DEBIAN_PYTHON_PACKAGE_SHLIBDEPS OFF)
    set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/python/debian/postinst
        ${PROJECT_SOURCE_DIR}/python/debian/prerm)
endif()

configure_file(debian/changelog.in changelog @ONLY)
wdlt_gzip(changelog.Debian COMMAND cat changelog DEPENDS ${CMAKE_CURRENT_BINARY_DIR}/changelog)
include(CPack)
