# velorin_build_flags: what every target of this project is compiled with, and nobody else's code.
add_library(velorin_build_flags INTERFACE)
target_compile_options(velorin_build_flags INTERFACE
    -Wall -Wextra -Wconversion -Wshadow -Wformat=2 -Wnon-virtual-dtor
    $<$<BOOL:${VELORIN_WERROR}>:-Werror>)
# clang's -Wconversion has this in it, gcc's has not.
target_compile_options(velorin_build_flags INTERFACE $<$<CXX_COMPILER_ID:Clang>:-Wno-sign-conversion>)
find_package(Threads REQUIRED)

# Linking takes a good part of a build of many test programs; what is shipped is linked by the system's own linker.
if(VELORIN_PRECOMPILE)
    find_program(VELORIN_MOLD mold)
    if(VELORIN_MOLD)
        add_link_options(-fuse-ld=mold)
    endif()
endif()
# velorin_precompile(<target> <header>...): the headers that most sources of the target read.
function(velorin_precompile target)
    if(VELORIN_PRECOMPILE)
        target_precompile_headers(${target} PRIVATE ${ARGN})
    endif()
endfunction()

if(VELORIN_SANITIZE STREQUAL "address")
    set(velorin_sanitizers -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
elseif(VELORIN_SANITIZE STREQUAL "thread")
    set(velorin_sanitizers -fsanitize=thread -fno-omit-frame-pointer)
elseif(VELORIN_SANITIZE)
    message(FATAL_ERROR "VELORIN_SANITIZE is '${VELORIN_SANITIZE}': give address, thread or nothing")
endif()
# Sanitizers reach every object, generated ones too.
if(velorin_sanitizers)
    add_compile_options(${velorin_sanitizers})
    add_link_options(${velorin_sanitizers})
endif()
# Every object tells libFuzzer which way it took, and every fault ends the program.
if(VELORIN_FUZZ)
    if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
        message(FATAL_ERROR "VELORIN_FUZZ needs clang: configure with the preset fuzz")
    endif()
    set(velorin_fuzz_flags -fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_compile_options(${velorin_fuzz_flags} -O1 -g)
    add_link_options(${velorin_fuzz_flags})
endif()

# Hardening of what is shipped: overflow checks in the C library, stack protection, read-only relocations.
target_compile_options(velorin_build_flags INTERFACE
    $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2 -fstack-protector-strong -fstack-clash-protection>)
target_link_options(velorin_build_flags INTERFACE
    $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-Wl,-z,relro,-z,now,-z,noexecstack>)
