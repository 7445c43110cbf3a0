# Programs of unit tests.
find_package(GTest REQUIRED)
include(GoogleTest)

# zelmor_add_test_headers(<target> <library> <header>...): precompiles headers for all programs of one kind, which link
# with the library. They are compiled as the sources of programs are, else the compiler would not take them.
function(zelmor_add_test_headers target library)
    file(CONFIGURE OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/${target}.cpp CONTENT "")
    add_library(${target} OBJECT ${CMAKE_CURRENT_BINARY_DIR}/${target}.cpp)
    set_target_properties(${target} PROPERTIES POSITION_INDEPENDENT_CODE OFF)
    target_compile_options(${target} PRIVATE -fPIE)
    target_link_libraries(${target} PRIVATE ${library} GTest::gtest)
    zelmor_precompile(${target} <gtest/gtest.h> ${ARGN})
endfunction()

# zelmor_add_unit_test(<target> <source>...): a program of unit tests. It has the precompiled headers of all of them,
# unless it precompiles its own.
function(zelmor_add_unit_test target)
    add_executable(${target} ${ARGN})
    target_link_libraries(${target} PRIVATE GTest::gtest_main ${CMAKE_DL_LIBS})
    zelmor_precompile_as(${target} zelmor_unit_test_headers)
    gtest_discover_tests(${target} PROPERTIES LABELS unit)
endfunction()

zelmor_add_test_headers(zelmor_unit_test_headers zelmor_wire <algorithm> <cstdint> <cstring> <functional> <map>
                        <memory> <optional> <stdexcept> <string> <string_view> <utility> <vector>)
