# wdlt_quickly(BATCH TARGET...): what is built once more, under sanitizers, or is only looked through (clang-tidy), needn't
# parse the same headers for each source again: these targets, which are compiled with the same flags, parse the standard
# headers once, and their sources are taken BATCH at a time; 0: one by one, in rooms whose tables all have the same names.
# The release build takes each source by itself, so that one that includes less than it uses shows.
function(wdlt_quickly batch first)
    if(NOT WDLT_QUICK_BUILD OR (WDLT_BUILD_TESTS AND NOT WDLT_SANITIZE))
        return()
    endif()
    target_precompile_headers(${first} PRIVATE
        <algorithm> <array> <cstdint> <cstring> <memory> <optional> <span> <string> <string_view> <vector>)
    foreach(target IN LISTS ARGN)
        target_precompile_headers(${target} REUSE_FROM ${first})
    endforeach()
    if(batch GREATER 0)
        set_target_properties(${first} ${ARGN} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE ${batch})
    endif()
endfunction()
