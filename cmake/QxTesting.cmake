# qx_add_test(NAME SOURCES file...): a GoogleTest program that links the library's objects, so
# internals stay reachable, with the test data directory in QX_TEST_DATA and TZ=UTC; its tests
# are registered with CTest one by one.
function(qx_add_test name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES")
    if(NOT arg_SOURCES)
        message(FATAL_ERROR "qx_add_test(${name}): no SOURCES")
    endif()
    add_executable(${name} ${arg_SOURCES})
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR})
    target_link_libraries(${name} PRIVATE qx_scriptutil_obj qx_platform_obj qx::build_flags
                                          GTest::gtest GTest::gtest_main GTest::gmock
                                          EXPAT::EXPAT OpenSSL::Crypto PkgConfig::ACE)
    gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60
                         PROPERTIES ENVIRONMENT
                         "TZ=UTC\\;QX_TEST_DATA=${PROJECT_SOURCE_DIR}/tests/data")
endfunction()
