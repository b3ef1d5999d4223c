find_package(GTest REQUIRED)

# A GoogleTest binary: zv_add_tests(zv_tests_load a_test.cpp b_test.cpp). One entry in ctest a binary: a process that
# loads the file libraries takes most of a second to start.
function(zv_add_tests name)
    add_executable(${name} ${ARGN})
    target_link_libraries(${name} PRIVATE zv_test_support zv_host GTest::gmock GTest::gtest_main)
    add_test(NAME ${name} COMMAND ${name})
    set_tests_properties(${name} PROPERTIES TIMEOUT 900)
endfunction()
