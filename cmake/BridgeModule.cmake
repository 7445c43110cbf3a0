# zelmor_add_bridge_module(<target> OUTPUT <name> MODULE <dotted name> [DIRECTORY <dir>] SOURCES <file>...
#                          [GENERATED <file>...])
#
# Builds an extension module on the bridge library. The few static types that carry the module's own dotted name are
# compiled into each module; everything else comes from the library. Only the entry point and the name of the
# application domain are exported.
set(ZELMOR_EXTENSION_SUFFIX .cpython-311-x86_64-linux-gnu.so)

function(zelmor_add_bridge_module target)
    cmake_parse_arguments(ARG "" "OUTPUT;MODULE;DIRECTORY" "SOURCES;GENERATED" ${ARGN})
    if(NOT ARG_DIRECTORY)
        set(ARG_DIRECTORY ${ZELMOR_PACKAGE_DIR})
    endif()
    add_library(${target} MODULE ${ARG_SOURCES} ${ZELMOR_PYSHELL_MODULE_TYPES} ${ZELMOR_COLLECTIONS_MODULE_TYPES})
    if(ARG_GENERATED)
        # One file for each type is what a person wants to read; the compiler prefers few. No exception passes through
        # generated code, which leaves out a third of its size. It is straight calls of what is optimized elsewhere:
        # the first level of optimization gives the same speed in two thirds of the time. Its static records name the
        # members that are not zero.
        add_library(${target}_generated OBJECT ${ARG_GENERATED})
        target_compile_options(${target}_generated PRIVATE -O1 -fno-exceptions -fno-asynchronous-unwind-tables
                                                           -Wno-missing-field-initializers)
        target_include_directories(${target}_generated PRIVATE ${CMAKE_BINARY_DIR})
        target_link_libraries(${target}_generated PRIVATE zelmor_bridge)
        set_target_properties(${target}_generated PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 16)
        zelmor_precompile(${target}_generated ${ZELMOR_GENERATED_DIR}/${ARG_OUTPUT}/${ARG_OUTPUT}.h)
        target_sources(${target} PRIVATE $<TARGET_OBJECTS:${target}_generated>)
    endif()
    target_compile_definitions(${target} PRIVATE ZELMOR_MODULE_NAME=\"${ARG_MODULE}\")
    target_include_directories(${target} PRIVATE ${CMAKE_BINARY_DIR})
    target_link_libraries(${target} PRIVATE zelmor_bridge)
    target_link_options(${target} PRIVATE -Wl,--version-script=${PROJECT_SOURCE_DIR}/cmake/bridge_module.map -Wl,-z,now
                        -Wl,-z,pack-relative-relocs -Wl,--gc-sections -s)
    set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${PROJECT_SOURCE_DIR}/cmake/bridge_module.map)
    set_target_properties(${target} PROPERTIES PREFIX "" SUFFIX ${ZELMOR_EXTENSION_SUFFIX} OUTPUT_NAME ${ARG_OUTPUT}
                                               LIBRARY_OUTPUT_DIRECTORY ${ARG_DIRECTORY})
endfunction()
