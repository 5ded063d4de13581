# allow_narrowing(SOURCE): the QTRY_ macros of Qt 6.8 convert longs to ints.
function(allow_narrowing source)
    if(Qt6_VERSION VERSION_GREATER_EQUAL 6.5)
        set_source_files_properties(${source} PROPERTIES COMPILE_OPTIONS -Wno-conversion)
    endif()
endfunction()

# add_rehome_test(NAME SOURCE LIBRARY...): one test program over Qt Test on the offscreen platform.
# (libldb loads its back ends in a way that the sanitizers refuse, unless it is told not to.)
function(add_rehome_test name source)
    add_executable(${name} ${source})
    target_link_libraries(${name} PRIVATE rehome_test_support ${ARGN} Qt6::Test)
    allow_narrowing(${source})
    add_test(NAME ${name} COMMAND ${name})
    set_tests_properties(
        ${name}
        PROPERTIES
            TIMEOUT
            300
            ENVIRONMENT
            "QT_QPA_PLATFORM=offscreen;LDB_MODULES_DISABLE_DEEPBIND=1;LSAN_OPTIONS=suppressions=${PROJECT_SOURCE_DIR}/tests/support/leaks.supp:print_suppressions=0"
    )
endfunction()
