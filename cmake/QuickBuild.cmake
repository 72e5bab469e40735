# wdlt_parse_once(TARGET...): in a quick build these, which are compiled with the same flags, parse the standard headers
# that most of their sources include once. What includes less than it uses shows where each source is looked through by
# itself (clang-tidy).
function(wdlt_parse_once first)
    if(NOT WDLT_QUICK_BUILD)
        return()
    endif()
    target_precompile_headers(${first} PRIVATE
        <algorithm> <array> <cstdint> <cstring> <memory> <optional> <span> <string> <string_view> <vector>)
    foreach(target IN LISTS ARGN)
        target_precompile_headers(${target} REUSE_FROM ${first})
    endforeach()
endfunction()
