# Toolchain of a device's kind: 32 bits, big-endian, char unsigned. Debian's cross compiler; programs run under qemu-ppc.
# What is not in the compiler's own folders comes from VELORIN_TARGET_ROOT, and never from this machine's libraries.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR ppc)
set(CMAKE_C_COMPILER powerpc-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER powerpc-linux-gnu-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-ppc -L /usr/powerpc-linux-gnu)

list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES VELORIN_TARGET_ROOT)
set(CMAKE_FIND_ROOT_PATH /usr/powerpc-linux-gnu ${VELORIN_TARGET_ROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Atomic numbers of 64 bits are functions of a library there.
set(CMAKE_CXX_STANDARD_LIBRARIES "-Wl,--push-state,--as-needed -latomic -Wl,--pop-state")
