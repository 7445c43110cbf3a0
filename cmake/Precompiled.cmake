# zelmor_precompile(<target> <header>...): headers that nearly every source of the target includes, compiled once. They
# are included in front of each source, which still names what it needs: ZELMOR_PRECOMPILE=OFF builds without them, and
# so holds that every source names all of it.
option(ZELMOR_PRECOMPILE "Compile common headers once for each target" ON)

function(zelmor_precompile target)
    if(ZELMOR_PRECOMPILE)
        target_precompile_headers(${target} PRIVATE ${ARGN})
        if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
            # Lets a compiler cache see what the precompiled header consists of.
            target_compile_options(${target} PRIVATE -fpch-preprocess)
        endif()
    endif()
endfunction()
