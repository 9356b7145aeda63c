# Cross build for 32-bit ARM hard-float Linux with Debian's
# g++-arm-linux-gnueabihf.  Test programs run under qemu-arm; the
# emulator finds the target's loader and libraries through QEMU_LD_PREFIX.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)

set(VQSOFTCC_CROSS_TRIPLE arm-linux-gnueabihf)
set(CMAKE_C_COMPILER ${VQSOFTCC_CROSS_TRIPLE}-gcc)
set(CMAKE_CXX_COMPILER ${VQSOFTCC_CROSS_TRIPLE}-g++)
set(CMAKE_NM ${VQSOFTCC_CROSS_TRIPLE}-nm CACHE FILEPATH "nm for the target")
set(CMAKE_READELF ${VQSOFTCC_CROSS_TRIPLE}-readelf CACHE FILEPATH "readelf for the target")

set(CMAKE_FIND_ROOT_PATH /usr/${VQSOFTCC_CROSS_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(CMAKE_CROSSCOMPILING_EMULATOR
    ${CMAKE_COMMAND} -E env QEMU_LD_PREFIX=/usr/${VQSOFTCC_CROSS_TRIPLE} qemu-arm)

# GCC notes that std::vector iterators are passed differently since GCC 7.1:
# true, harmless for code built by one compiler, and loud in the test build.
set(CMAKE_CXX_FLAGS_INIT "-Wno-psabi")
