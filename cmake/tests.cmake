find_package(GTest REQUIRED)

# For a test, and the programs that it starts: what sanitizers find in the file libraries alone does not count. OpenEXR asks
# for the memory that a damaged header speaks of, and stands a refusal.
function(zv_suppress_library_findings name)
    if(ZV_SANITIZE)
        set(support ${PROJECT_SOURCE_DIR}/tests/support)
        set_tests_properties(${name} PROPERTIES TIMEOUT 1800 ENVIRONMENT
            "LSAN_OPTIONS=suppressions=${support}/leaks.supp:print_suppressions=0;TSAN_OPTIONS=suppressions=${support}/races.supp:report_mutex_bugs=0:allocator_may_return_null=1:print_suppressions=0")
    endif()
endfunction()

# A GoogleTest binary: zv_add_tests(zv_tests_load a_test.cpp b_test.cpp). One entry in ctest a binary: a process that
# loads the file libraries takes most of a second to start.
function(zv_add_tests name)
    add_executable(${name} ${ARGN})
    target_link_libraries(${name} PRIVATE zv_test_support zv_host GTest::gmock GTest::gtest_main)
    add_test(NAME ${name} COMMAND ${name})
    set_tests_properties(${name} PROPERTIES TIMEOUT 900)
    zv_suppress_library_findings(${name})
endfunction()
