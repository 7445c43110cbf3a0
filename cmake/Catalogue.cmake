# Code is generated from the catalogues when the build is configured, since the list of generated sources depends on the
# catalogue. Any change to the catalogue or to the generator configures the build again.
file(GLOB_RECURSE ZELMOR_GENERATOR_FILES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tools/generator/*.py)
set_property(DIRECTORY ${PROJECT_SOURCE_DIR} APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${ZELMOR_GENERATOR_FILES})

function(zelmor_run_generator)
    execute_process(
        COMMAND ${Python3_EXECUTABLE} -B -m tools.generator ${ARGN}
        WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
        OUTPUT_VARIABLE output
        OUTPUT_STRIP_TRAILING_WHITESPACE
        RESULT_VARIABLE status)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "the generator refused the catalogue")
    endif()
    if(output)
        message(STATUS "${output}")
    endif()
endfunction()

function(zelmor_depend_on_catalogue catalogue)
    file(GLOB files CONFIGURE_DEPENDS ${catalogue}/* ${catalogue}/../records/*)
    set_property(DIRECTORY ${PROJECT_SOURCE_DIR} APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${files})
endfunction()

# zelmor_generate_module(<product> <catalogue dir> <variable>): generates the wrappers of one assembly and stores the
# list of sources in <variable>. The sources include each other as "generated/<product>/<product>.h".
function(zelmor_generate_module product catalogue variable)
    zelmor_depend_on_catalogue(${catalogue})
    set(out ${ZELMOR_GENERATED_DIR}/${product})
    zelmor_run_generator(module ${catalogue} ${out})
    file(STRINGS ${out}/sources.txt sources)
    set(${variable} ${sources} PARENT_SCOPE)
endfunction()

# zelmor_generate_runtime_tables(<variable> <catalogue dir>...): generates the tables of the embedded runtime and stores
# the names of the sources in <variable>. Beside it the generator writes headers with the names of the catalogue, which
# the runtime includes as "generated/runtime/<managed namespace>.h".
function(zelmor_generate_runtime_tables variable)
    foreach(catalogue IN LISTS ARGN)
        zelmor_depend_on_catalogue(${catalogue})
    endforeach()
    set(out ${ZELMOR_GENERATED_DIR}/runtime)
    zelmor_run_generator(runtime ${out} ${ARGN})
    set(${variable} ${out}/tables.cpp ${out}/record_tables.cpp PARENT_SCOPE)
endfunction()
