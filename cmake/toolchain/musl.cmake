# This machine's architecture with musl. packaging/cross makes the compilers.
set(OBX_CROSS musl)
include(${CMAKE_CURRENT_LIST_DIR}/debian_musl.cmake)
