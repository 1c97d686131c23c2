# 32-bit ARM Linux with Debian's cross compiler (g++-arm-linux-gnueabihf); programs run by qemu-arm.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)  # GoogleTest's project asks for one
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
# GCC would say of every GoogleTest matcher that GCC 7.1 passed it otherwise.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -L /usr/arm-linux-gnueabihf)

# Boost and biTStream are headers only, so the host's serve. They are linked into a folder of their
# own: /usr/include itself would bring the host's C library along.
get_property(in_try_compile GLOBAL PROPERTY IN_TRY_COMPILE)
if(NOT in_try_compile)
    set(host_headers ${CMAKE_BINARY_DIR}/host-headers)
    file(MAKE_DIRECTORY ${host_headers}/include)
    foreach(library boost bitstream)
        file(CREATE_LINK /usr/include/${library} ${host_headers}/include/${library} SYMBOLIC)
    endforeach()
endif()

set(CMAKE_FIND_ROOT_PATH /usr/arm-linux-gnueabihf ${host_headers})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
