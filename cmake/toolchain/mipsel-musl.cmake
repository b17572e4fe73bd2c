# The router with musl. packaging/cross makes the compilers.
set(OBX_CROSS mipsel-musl)
include(${CMAKE_CURRENT_LIST_DIR}/debian_musl.cmake)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-mipsel-static;-L;${libraries}-system)
