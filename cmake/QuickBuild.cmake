# wdlt_quickly(TARGET...): in a quick build these targets, which need the same compile flags, share one precompiled
# header, and their sources are compiled in batches, so that common includes are parsed once per batch. Other builds
# compile each source by itself, so that a missing include shows.
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
