# zelmor_compile_together(<target>...): the sources of a target that lie in one folder are compiled together, up to 32
# as one (CMake's unity build), so that the headers and templates that they share are read and instantiated once: to
# read the precompiled header alone takes a third of a second. The names in their unnamed namespaces have to differ
# within a folder; the compiler says so where they do not. ZELMOR_TOGETHER=OFF compiles each source alone, which shows
# whether each includes every header that it needs.
#
# The folders below those of a target's property ZELMOR_ACROSS count as one folder, since they have few sources for the
# target; "." stands for the folders of all sources.
option(ZELMOR_TOGETHER "Compile the sources of a folder together" ON)

function(zelmor_compile_together)
    if(ZELMOR_TOGETHER)
        foreach(target IN LISTS ARGN)
            # At the end, when all folders have added their sources.
            cmake_language(EVAL CODE "cmake_language(DEFER DIRECTORY [[${PROJECT_SOURCE_DIR}]]
                                                     CALL zelmor_group_sources [[${target}]])")
        endforeach()
    endif()
endfunction()

function(zelmor_group_sources target)
    get_target_property(sources ${target} SOURCES)
    get_target_property(directory ${target} SOURCE_DIR)
    get_target_property(across ${target} ZELMOR_ACROSS)
    if(NOT across)
        set(across)
    endif()
    foreach(source IN LISTS sources)
        if(source MATCHES "\\.cpp$")
            cmake_path(ABSOLUTE_PATH source BASE_DIRECTORY ${directory})
            cmake_path(GET source PARENT_PATH folder)
            cmake_path(IS_PREFIX CMAKE_BINARY_DIR "${folder}" generated)
            set(top ${PROJECT_SOURCE_DIR})
            if(generated)
                set(top ${CMAKE_BINARY_DIR})  # so that names of groups do not hang on its place
            endif()
            cmake_path(RELATIVE_PATH folder BASE_DIRECTORY ${top})
            foreach(above IN LISTS across)
                if(above STREQUAL ".")
                    set(folder all)
                endif()
                string(REGEX REPLACE "^(${above})/.*" "\\1" folder "${folder}")
            endforeach()
            string(MAKE_C_IDENTIFIER "${folder}" folder)
            math(EXPR number "0${count_${folder}} / 32")
            math(EXPR count_${folder} "0${count_${folder}} + 1")
            set_source_files_properties(${source} TARGET_DIRECTORY ${target} PROPERTIES
                                        UNITY_GROUP ${folder}_${number})
        endif()
    endforeach()
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
    # Linkers take whole object files out of a static library: a section for each function lets them drop what is not used.
    target_compile_options(${target} PRIVATE -ffunction-sections -fdata-sections)
    # The warning is for headers; it takes a source that is included for one.
    target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>)
endfunction()
