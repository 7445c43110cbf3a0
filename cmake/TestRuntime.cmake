# The build tree contains a second runtime directory for the tests: the flavor of the embedded runtime with the control
# interface, and copies of the product's other shared libraries.

# zelmor_part_of_product(<target>): adds a shared library or a program to the product, in its runtime directory.
function(zelmor_part_of_product target)
    add_dependencies(product ${target})
    install(TARGETS ${target} LIBRARY DESTINATION ${ZELMOR_RUNTIME_INSTALL_DIR}
                              RUNTIME DESTINATION ${ZELMOR_RUNTIME_INSTALL_DIR})
endfunction()

# zelmor_part_of_runtime(<target>): the same, and adds a copy of it to the runtime of the tests.
function(zelmor_part_of_runtime target)
    zelmor_part_of_product(${target})
    if(ZELMOR_BUILD_TESTS)
        set(stamp ${CMAKE_CURRENT_BINARY_DIR}/${target}.copied)
        add_custom_command(
            OUTPUT ${stamp}
            COMMAND ${CMAKE_COMMAND} -E make_directory ${ZELMOR_TEST_RUNTIME_DIR}
            COMMAND ${CMAKE_COMMAND} -E copy_if_different $<TARGET_FILE:${target}> ${ZELMOR_TEST_RUNTIME_DIR}
            COMMAND ${CMAKE_COMMAND} -E touch ${stamp}
            DEPENDS ${target}
            VERBATIM)
        add_custom_target(${target}_copy DEPENDS ${stamp})
        add_dependencies(test-runtime ${target}_copy)
    endif()
endfunction()

# zelmor_add_targets_below(<target> <folder>): makes <target> depend on all targets that are defined in the folder.
function(zelmor_add_targets_below target folder)
    get_property(folders DIRECTORY ${folder} PROPERTY SUBDIRECTORIES)
    foreach(below IN LISTS folders)
        zelmor_add_targets_below(${target} ${below})
    endforeach()
    get_property(targets DIRECTORY ${folder} PROPERTY BUILDSYSTEM_TARGETS)
    if(targets)
        add_dependencies(${target} ${targets})
    endif()
endfunction()
