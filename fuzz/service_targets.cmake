# What the mail service reads: requests, and everything that mail servers say.
add_library(velorin_fuzz_service STATIC support/pop3_answers.cpp support/scripted_server.cpp)
target_link_libraries(velorin_fuzz_service
    PUBLIC velorin_service_objects velorin_fuzz_support
    PRIVATE velorin_build_flags)

velorin_add_fuzzer(mime_mail LIBS velorin_fuzz_service velorin_fuzz_platform)
velorin_add_fuzzer(smtp_dialogue LIBS velorin_fuzz_service)
velorin_add_fuzzer(smtp_reply LIBS velorin_fuzz_service)
velorin_add_fuzzer(header_text LIBS velorin_service_objects velorin_fuzz_platform)
velorin_add_fuzzer(piece_cutter LIBS velorin_service_objects velorin_fuzz_platform)
velorin_add_fuzzer(pop3_dialogue LIBS velorin_fuzz_service velorin_fuzz_platform)
velorin_add_fuzzer(requests LIBS velorin_fuzz_service velorin_fuzz_platform)
velorin_add_fuzzer(daemon_config LIBS velorin_service_objects)

# What the command line reads.
velorin_add_fuzzer(capture LIBS velorin_mail_cli protobuf::libprotobuf-lite)
velorin_add_fuzzer(mail_settings LIBS velorin_mail_cli)
velorin_add_fuzzer(received_names LIBS velorin_mail_cli)
velorin_add_fuzzer(seen_state LIBS velorin_mail_cli)

# Both ends of the channel: internals of the platform's library, which it does not export.
add_library(velorin_fuzz_channel OBJECT
    ../platform/linux/channel_codes.cpp
    ../platform/linux/channel_connection.cpp
    ../platform/linux/channel_frame.cpp
    ../platform/linux/channel_local.cpp
    ../platform/linux/channel_peer.cpp
    support/channel_lines.cpp)
target_link_libraries(velorin_fuzz_channel PUBLIC velorin_platform velorin_fuzz_support PRIVATE velorin_build_flags)
velorin_add_fuzzer(channel_answer LIBS velorin_fuzz_channel)
velorin_add_fuzzer(channel_request LIBS velorin_fuzz_channel)
