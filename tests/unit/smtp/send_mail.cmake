# The outgoing mail, its header and its converters.
velorin_add_test(smtp_send_mail_test
    SOURCES
        header_failure_test.cpp
        header_lines_test.cpp
        header_support.cpp
        header_test.cpp
        send_mail_convert_test.cpp
        send_mail_test.cpp
    LIBS velorin_platform_double velorin_mlutl_test_support velorin_test_octets)
# A program of its own: it has converters of parts and addresses in place of the library's.
velorin_add_test(smtp_send_mail_failure_test
    SOURCES send_mail_convert_failure_test.cpp
    LIBS velorin_platform_double velorin_mlutl_test_support)
