set(OBX_CROSS armhf)
set(OBX_TRIPLET arm-linux-gnueabihf)
set(CMAKE_SYSTEM_PROCESSOR arm)
include(${CMAKE_CURRENT_LIST_DIR}/debian.cmake)
