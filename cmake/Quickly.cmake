# Optimizing is most of the time that a source takes to be compiled. Code that runs once for a call, a file or a tag
# gets less of it; code that runs for each pixel or element has all of it.
#
# ZELMOR_QUICK_OPTIMIZATION takes two thirds of the time that -O1 takes, and half of -O2, for 3 % more instructions in a
# call. The two passes beside -Og keep small structures in registers and put functions that have one caller into it.
# Without the other passes the compiler takes optional values for unset ones. Clang's -O1 is as quick.
set(ZELMOR_QUICK_OPTIMIZATION -O1)
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
    set(ZELMOR_QUICK_OPTIMIZATION -Og -ftree-sra -finline-functions-called-once -Wno-maybe-uninitialized)
endif()

# zelmor_optimize_quickly(<target>): the whole target.
function(zelmor_optimize_quickly target)
    if(CMAKE_BUILD_TYPE STREQUAL "Release")
        target_compile_options(${target} PRIVATE ${ZELMOR_QUICK_OPTIMIZATION})
    endif()
endfunction()

# zelmor_optimize_quickly_in(<target> FOLDERS <folder>... EXCEPT <name>... [ACROSS <folder>...]): the sources of the
# target that lie below the folders (of this directory, or of the same names among generated ones), but for those of the
# names, without .cpp. They become objects of a library of their own, <target>_plain, since sources that are compiled
# together have one set of options; across the folders below those of ACROSS, too. To be called when the target has all
# of its sources.
function(zelmor_optimize_quickly_in target)
    cmake_parse_arguments(PARSE_ARGV 1 ARG "" "" "FOLDERS;EXCEPT;ACROSS")
    list(JOIN ARG_FOLDERS "|" folders)
    get_target_property(sources ${target} SOURCES)
    get_target_property(directory ${target} SOURCE_DIR)
    set(kept)
    set(plain)
    foreach(source IN LISTS sources)
        cmake_path(ABSOLUTE_PATH source BASE_DIRECTORY ${directory})
        cmake_path(GET source STEM name)
        if(source MATCHES "^(${CMAKE_CURRENT_SOURCE_DIR}|${ZELMOR_GENERATED_DIR})/(${folders})/"
           AND NOT name IN_LIST ARG_EXCEPT)
            list(APPEND plain ${source})
        else()
            list(APPEND kept ${source})
        endif()
    endforeach()
    set_target_properties(${target} PROPERTIES SOURCES "${kept}")
    get_target_property(libraries ${target} LINK_LIBRARIES)
    add_library(${target}_plain OBJECT ${plain})
    # The target waits for its plain objects, so the precompiled headers of both are made by a third library. They are
    # made with all of the optimization: GCC 12 crashes where it is the other way round.
    file(CONFIGURE OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/${target}_headers.cpp CONTENT "")
    add_library(${target}_headers OBJECT ${CMAKE_CURRENT_BINARY_DIR}/${target}_headers.cpp)
    get_target_property(headers ${target} PRECOMPILE_HEADERS)
    if(headers)
        set_property(TARGET ${target} PROPERTY PRECOMPILE_HEADERS)
        set_property(TARGET ${target} PROPERTY ZELMOR_HEADERS_OF ${target}_headers)
        zelmor_precompile(${target}_headers ${headers})
        zelmor_precompile_as(${target} ${target})
        zelmor_precompile_as(${target}_plain ${target})
    endif()
    foreach(part IN ITEMS plain headers)
        target_link_libraries(${target}_${part} PRIVATE ${libraries})
        target_include_directories(${target}_${part} PRIVATE ${CMAKE_BINARY_DIR})
    endforeach()
    zelmor_optimize_quickly(${target}_plain)
    cmake_path(RELATIVE_PATH CMAKE_CURRENT_SOURCE_DIR BASE_DIRECTORY ${PROJECT_SOURCE_DIR} OUTPUT_VARIABLE place)
    list(TRANSFORM ARG_ACROSS PREPEND "${place}/")
    set_target_properties(${target}_plain PROPERTIES ZELMOR_ACROSS "${ARG_ACROSS}")
    zelmor_compile_together(${target}_plain)
    get_target_property(type ${target} TYPE)
    set(scope PRIVATE)
    if(type STREQUAL OBJECT_LIBRARY)
        set(scope INTERFACE)  # objects do not pass from one such library through another
    endif()
    target_sources(${target} ${scope} $<TARGET_OBJECTS:${target}_plain>)
endfunction()
