# wdlt_quickly(TARGET...): in a quick build these targets, which are compiled with the same flags, parse the standard
# headers once, and their sources are taken several at a time, so that what they include isn't parsed for each again. The
# other builds take each source by itself, so that one that includes less than it uses shows.
set(CMAKE_UNITY_BUILD_BATCH_SIZE 8 CACHE STRING "How many sources a quick build compiles together")
function(wdlt_quickly first)
    if(NOT WDLT_QUICK_BUILD OR WDLT_EACH_SOURCE)
        return()
    endif()
    target_precompile_headers(${first} PRIVATE
        <algorithm> <array> <cstdint> <cstring> <memory> <optional> <span> <string> <string_view> <vector>)
    foreach(target IN LISTS ARGN)
        target_precompile_headers(${target} REUSE_FROM ${first})
    endforeach()
    set_target_properties(${first} ${ARGN} PROPERTIES UNITY_BUILD ON)
endfunction()
