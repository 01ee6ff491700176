# An object library: a program defines the platform's functions itself only when these objects are part of it.
add_library(velorin_platform_double OBJECT
    "${CMAKE_CURRENT_LIST_DIR}/platform_double.cpp"
    "${CMAKE_CURRENT_LIST_DIR}/platform_double_heap.cpp"
    "${CMAKE_CURRENT_LIST_DIR}/platform_double_symbols.cpp")
target_include_directories(velorin_platform_double PUBLIC "${CMAKE_CURRENT_LIST_DIR}")
target_link_libraries(velorin_platform_double
    PUBLIC ntc_email_internal GTest::gtest GTest::gmock ${CMAKE_DL_LIBS}
    PRIVATE velorin_build_flags)
