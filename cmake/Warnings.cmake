# Flags for our own code; third-party headers are included as SYSTEM, which silences their warnings. Errors they are only
# in the presets (CMAKE_COMPILE_WARNING_AS_ERROR): a packager's compiler may know warnings that ours don't.
add_compile_options(-Wall -Wextra -Wpedantic -Wconversion)
# A library links to all that it needs: an undefined symbol is an error at link time, not at load time. (With a
# sanitizer its runtime is in the program, so libraries have undefined symbols.)
if(NOT WIN32)
    add_link_options(-Wl,--as-needed)
endif()
if(NOT WDLT_SANITIZE AND NOT WIN32)
    add_link_options(-Wl,-z,defs)
endif()

if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-Wthread-safety>)
endif()

if(WDLT_SANITIZE)
    add_compile_options(-fsanitize=${WDLT_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${WDLT_SANITIZE})
endif()
