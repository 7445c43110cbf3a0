# zelmor_precompile(<target> <header>...): precompiles headers that nearly every source of the target includes. The
# compiler includes them before each source. The sources still include every header that they need: a build with
# ZELMOR_PRECOMPILE=OFF checks this.
option(ZELMOR_PRECOMPILE "Compile common headers once for each target" ON)

function(zelmor_precompile target)
    if(ZELMOR_PRECOMPILE)
        target_precompile_headers(${target} PRIVATE ${ARGN})
        if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
            # Lets the compiler cache see the contents of the precompiled header.
            target_compile_options(${target} PRIVATE -fpch-preprocess)
        endif()
    endif()
endfunction()

# zelmor_precompile_as(<target> <other>): the target's sources are preceded by the precompiled headers of the other one,
# whose compile options have to be the same; unless the target has headers of its own.
function(zelmor_precompile_as target other)
    get_target_property(own ${target} PRECOMPILE_HEADERS)
    if(ZELMOR_PRECOMPILE AND NOT own)
        target_precompile_headers(${target} REUSE_FROM ${other})
        if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
            target_compile_options(${target} PRIVATE -fpch-preprocess)
        endif()
    endif()
endfunction()
