# packaging/cross makes the compilers, which find musl's headers and start files where it has put them.
set(OBX_CROSS musl)
set(OBX_TRIPLET mipsel-linux-gnu)
set(CMAKE_SYSTEM_PROCESSOR mipsel)
include(${CMAKE_CURRENT_LIST_DIR}/debian.cmake)
set(CMAKE_C_COMPILER ${libraries}-system/bin/cc)
set(CMAKE_CXX_COMPILER ${libraries}-system/bin/c++)
set(CMAKE_FIND_ROOT_PATH ${libraries})
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-mipsel-static;-L;${libraries}-system)
