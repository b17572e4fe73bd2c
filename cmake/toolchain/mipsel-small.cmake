set(OBX_CROSS mipsel-small)
set(OBX_TRIPLET mipsel-linux-gnu)
set(CMAKE_SYSTEM_PROCESSOR mipsel)
include(${CMAKE_CURRENT_LIST_DIR}/debian.cmake)
