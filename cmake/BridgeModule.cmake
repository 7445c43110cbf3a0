# zelmor_add_bridge_module(<target> OUTPUT <name> MODULE <dotted name> [DIRECTORY <dir>] SOURCES <file>...
#                          [GENERATED <file>...])
#
# Builds an extension module that is linked with the bridge library. The few static types whose names contain the dotted
# name of the module are compiled for each module; everything else comes from the library. The module exports only its
# entry point and the name of its application domain.
set(ZELMOR_EXTENSION_SUFFIX .cpython-311-x86_64-linux-gnu.so)

function(zelmor_add_bridge_module target)
    cmake_parse_arguments(ARG "" "OUTPUT;MODULE;DIRECTORY" "SOURCES;GENERATED" ${ARGN})
    add_library(${target} MODULE ${ARG_SOURCES} ${ZELMOR_PYSHELL_MODULE_TYPES} ${ZELMOR_COLLECTIONS_MODULE_TYPES})
    if(NOT ARG_DIRECTORY)
        set(ARG_DIRECTORY ${ZELMOR_PACKAGE_DIR})
        install(TARGETS ${target} LIBRARY DESTINATION ${ZELMOR_INSTALL_DIR}/zelmor)
    endif()
    if(ARG_GENERATED)
        # The generator writes one file for each type, for people to read; the unity build gives the compiler fewer
        # and larger ones (64 as one take an eighth less than 16 do). No C++ exception passes through generated code,
        # and without the tables for unwinding it is a third smaller. It mostly calls functions that are optimized
        # elsewhere. Its few local variables have fixed sizes and need no stack protector. Its static records name only
        # the members that are not zero.
        add_library(${target}_generated OBJECT ${ARG_GENERATED})
        target_compile_options(${target}_generated PRIVATE ${ZELMOR_QUICK_OPTIMIZATION} -fno-exceptions
                               -fno-asynchronous-unwind-tables -fno-stack-protector -Wno-missing-field-initializers)
        target_include_directories(${target}_generated PRIVATE ${CMAKE_BINARY_DIR})
        target_link_libraries(${target}_generated PRIVATE zelmor_bridge)
        set_target_properties(${target}_generated PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 64)
        list(LENGTH ARG_GENERATED count)
        if(count GREATER 64)  # a few files take less time than the precompiled header
            zelmor_precompile(${target}_generated ${ZELMOR_GENERATED_DIR}/${ARG_OUTPUT}/${ARG_OUTPUT}.h)
        endif()
        target_sources(${target} PRIVATE $<TARGET_OBJECTS:${target}_generated>)
    endif()
    set_target_properties(${target} PROPERTIES ZELMOR_ACROSS .)
    zelmor_compile_together(${target})
    target_compile_definitions(${target} PRIVATE ZELMOR_MODULE_NAME=\"${ARG_MODULE}\")
    target_include_directories(${target} PRIVATE ${CMAKE_BINARY_DIR})
    target_link_libraries(${target} PRIVATE zelmor_bridge)
    target_link_options(${target} PRIVATE -Wl,--version-script=${PROJECT_SOURCE_DIR}/cmake/bridge_module.map -Wl,-z,now
                        -Wl,-z,pack-relative-relocs -Wl,--gc-sections -s)
    add_dependencies(product ${target})
    add_dependencies(without-libraries ${target})
    set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${PROJECT_SOURCE_DIR}/cmake/bridge_module.map)
    set_target_properties(${target} PROPERTIES PREFIX "" SUFFIX ${ZELMOR_EXTENSION_SUFFIX} OUTPUT_NAME ${ARG_OUTPUT}
                                               LIBRARY_OUTPUT_DIRECTORY ${ARG_DIRECTORY})
endfunction()
