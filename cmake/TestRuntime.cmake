# Beside the product the build tree holds a second runtime directory, for the tests: the flavor of the embedded runtime
# that has the control interface, with copies of the product's other shared objects.

# zelmor_part_of_runtime(<target>): a shared object of the runtime directory; the tests get a copy.
function(zelmor_part_of_runtime target)
    add_dependencies(product ${target})
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

# zelmor_add_targets_below(<target> <folder>): makes <target> depend on everything that is defined in the folder.
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
