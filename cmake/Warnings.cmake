# Flags of our own code; the headers of others are included as SYSTEM and keep their warnings to themselves.
add_compile_options(-Wall -Wextra -Wpedantic -Wconversion -Werror)
# A library names all that it needs: an open symbol is an error when it is linked, not when it is loaded. (Under a
# sanitizer the program has its runtime, and libraries have open symbols.)
add_link_options(-Wl,--as-needed)
if(NOT WDLT_SANITIZE)
    add_link_options(-Wl,-z,defs)
endif()

if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-Wthread-safety>)
endif()

if(WDLT_SANITIZE)
    add_compile_options(-fsanitize=${WDLT_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${WDLT_SANITIZE})
endif()
