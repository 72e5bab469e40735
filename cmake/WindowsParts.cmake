option(WDLT_BUILD_WINDOWS_TESTS "Build the acceptance tests for Windows" ON)

# What is built for Windows: the library and what it loads by name. Each stands by itself: it needs no other library than
# the system's.
set(CMAKE_SHARED_LIBRARY_PREFIX "")
add_link_options(-static)

enable_language(RC)
add_subdirectory(platform/windows)
add_subdirectory(Common/srclib)
add_subdirectory(Lib)
add_subdirectory(records)
add_subdirectory(config)
set_target_properties(WdltCfg PROPERTIES ARCHIVE_OUTPUT_DIRECTORY ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
if(WDLT_BUILD_TOOLS)
    add_subdirectory(tools/windows)
endif()
if(WDLT_BUILD_WINDOWS_TESTS)
    add_subdirectory(tests/windows)
endif()
