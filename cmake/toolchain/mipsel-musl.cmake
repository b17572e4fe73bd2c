# The router with musl. packaging/cross makes the compilers.
set(OBX_CROSS mipsel-musl)
include(${CMAKE_CURRENT_LIST_DIR}/debian_musl.cmake)
# As in debian.cmake: what is built for tests names its C library, which is its loader too, by a whole path.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-mipsel-static)
set(OBX_TEST_LINK_FLAGS "-Wl,--dynamic-linker=${libraries}-system/lib/ld-musl-mipsel.so.1")
