# The character-code converter and its tables. Every character in the tables comes from the codecs cp932 and iso8859_2 of the
# build machine's Python, also when the target is another machine.
find_package(Python3 3.9 REQUIRED COMPONENTS Interpreter)

set(velorin_charset_dir "${CMAKE_CURRENT_BINARY_DIR}/charset")
file(MAKE_DIRECTORY "${velorin_charset_dir}")
add_custom_command(
    OUTPUT "${velorin_charset_dir}/charset_tables.inc"
    COMMAND ${CMAKE_COMMAND} -E env PYTHONIOENCODING=ascii
        "${Python3_EXECUTABLE}" "${CMAKE_CURRENT_LIST_DIR}/generate_charset_tables.py"
        > "${velorin_charset_dir}/charset_tables.inc"
    DEPENDS "${CMAKE_CURRENT_LIST_DIR}/generate_charset_tables.py"
    COMMENT "Generating the tables of the character-code converter"
    VERBATIM)
add_custom_target(velorin_charset_tables DEPENDS "${velorin_charset_dir}/charset_tables.inc")

target_sources(velorin_platform PRIVATE
    "${CMAKE_CURRENT_LIST_DIR}/utl_lib_convert.cpp"
    "${CMAKE_CURRENT_LIST_DIR}/charset_read.cpp"
    "${CMAKE_CURRENT_LIST_DIR}/charset_write.cpp"
    "${CMAKE_CURRENT_LIST_DIR}/charset_tables.cpp"
    "${velorin_charset_dir}/charset_tables.inc")
set_source_files_properties("${CMAKE_CURRENT_LIST_DIR}/charset_tables.cpp" PROPERTIES
    INCLUDE_DIRECTORIES "${velorin_charset_dir}")
