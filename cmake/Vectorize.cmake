# zelmor_vectorize(<source>...): compiles sources of the calling folder with -O3. They have loops over samples, which are
# worth being unrolled and done in vectors. Other builds than Release keep their own optimization: with both sanitizers,
# GCC 12 crashes over some of these sources at -O3.
function(zelmor_vectorize)
    # Options of their own keep them out of groups (Together.cmake); their names may be alike, so they stay out everywhere.
    set_source_files_properties(${ARGN} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
    if(CMAKE_BUILD_TYPE STREQUAL "Release")
        set_source_files_properties(${ARGN} PROPERTIES COMPILE_OPTIONS -O3)
    endif()
endfunction()
