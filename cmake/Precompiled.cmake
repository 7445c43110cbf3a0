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
# whose compile options have to be the same but for the optimization; unless the target has headers of its own.
function(zelmor_precompile_as target other)
    if(ZELMOR_PRECOMPILE)
        # At the end, when it is known which target has the headers.
        cmake_language(EVAL CODE "cmake_language(DEFER DIRECTORY [[${PROJECT_SOURCE_DIR}]]
                                                 CALL zelmor_reuse_headers [[${target}]] [[${other}]])")
    endif()
endfunction()

function(zelmor_reuse_headers target other)
    get_target_property(own ${target} PRECOMPILE_HEADERS)
    get_target_property(maker ${other} ZELMOR_HEADERS_OF)
    if(NOT maker)
        set(maker ${other})
    endif()
    if(NOT own AND NOT maker STREQUAL target)
        target_precompile_headers(${target} REUSE_FROM ${maker})
        if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
            target_compile_options(${target} PRIVATE -fpch-preprocess)
        endif()
    endif()
endfunction()
