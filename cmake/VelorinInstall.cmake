# What `cmake --install` yields: libraries, headers, both programs, a CMake package and a pkg-config file, all of which
# find each other relative to where they stand.
include(CMakePackageConfigHelpers)

set(velorin_header_dir "${CMAKE_INSTALL_INCLUDEDIR}/velorin")
set(velorin_package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/velorin_email")

install(TARGETS velorin_platform ntc_email EXPORT velorin_email_targets
    LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}")
install(DIRECTORY ntc_email/inc/ platform/inc/ DESTINATION "${velorin_header_dir}" FILES_MATCHING PATTERN "*.h")
install(FILES ${VELORIN_GENERATED_HEADERS} DESTINATION "${velorin_header_dir}")
if(TARGET velorin_mail_service)
    install(TARGETS velorin_mail_service EXPORT velorin_email_targets LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}")
    install(DIRECTORY mail_service/inc/ DESTINATION "${velorin_header_dir}" FILES_MATCHING PATTERN "*.h")
endif()
foreach(program IN ITEMS velorin-maild velorin-mail)
    if(TARGET ${program})
        install(TARGETS ${program} RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
    endif()
endforeach()

install(EXPORT velorin_email_targets NAMESPACE velorin:: DESTINATION "${velorin_package_dir}")
configure_package_config_file(cmake/velorin_email-config.cmake.in "${CMAKE_BINARY_DIR}/velorin_email-config.cmake"
    INSTALL_DESTINATION "${velorin_package_dir}")
write_basic_package_version_file("${CMAKE_BINARY_DIR}/velorin_email-config-version.cmake"
    COMPATIBILITY SameMajorVersion)
install(FILES "${CMAKE_BINARY_DIR}/velorin_email-config.cmake" "${CMAKE_BINARY_DIR}/velorin_email-config-version.cmake"
    DESTINATION "${velorin_package_dir}")

set(velorin_pc_definitions)
foreach(definition IN LISTS VELORIN_TIME_DEFINITIONS)
    string(APPEND velorin_pc_definitions " -D${definition}")
endforeach()
file(RELATIVE_PATH velorin_prefix_from_pc "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
configure_file(cmake/velorin_email.pc.in "${CMAKE_BINARY_DIR}/velorin_email.pc" @ONLY)
install(FILES "${CMAKE_BINARY_DIR}/velorin_email.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
