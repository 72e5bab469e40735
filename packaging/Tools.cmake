# The tools, their manual pages and completions. Both come from the tools' own command lines: a page is what the tool
# prints of itself, and a completion asks the tool at the time.
set(tools wdltctl wdltreg wardlet-acl wardlet-peer)
file(RELATIVE_PATH libraries_from_tools /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})
# One run path for the build and the installation: otherwise CMake pads that of the build with empty elements, which
# stand for the working directory.
set_target_properties(${tools} PROPERTIES
    INSTALL_RPATH "$ORIGIN/${libraries_from_tools};$ORIGIN" BUILD_WITH_INSTALL_RPATH ON)
install(TARGETS ${tools} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
configure_file(wardlet-follow.service wardlet-follow.service @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/wardlet-follow.service DESTINATION lib/systemd/system COMPONENT tools)
install(TARGETS WdTar WdHttp LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/wdltcfg COMPONENT tools)

# Debian's zsh looks elsewhere for what packages bring.
set(zsh_dir ${CMAKE_INSTALL_DATADIR}/zsh/site-functions)
if(CMAKE_INSTALL_PREFIX STREQUAL "/usr" AND EXISTS /etc/debian_version)
    set(zsh_dir ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions)
endif()

foreach(tool IN LISTS tools)
    wdlt_gzip(${tool}.1 COMMAND ${tool} --manual-page ${WDLT_RELEASE_DATE} DEPENDS ${tool})
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${tool}.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)

    string(REPLACE - _ function ${tool})
    configure_file(completions/bash.in ${tool}.bash @ONLY)
    configure_file(completions/zsh.in _${tool} @ONLY)
    configure_file(completions/fish.in ${tool}.fish @ONLY)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${tool}.bash RENAME ${tool}
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT tools)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/_${tool} DESTINATION ${zsh_dir} COMPONENT tools)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${tool}.fish
        DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d COMPONENT tools)
endforeach()
