set(OBX_CROSS armhf)
set(OBX_TRIPLET arm-linux-gnueabihf)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(OBX_LOADER ld-linux-armhf.so.3)
include(${CMAKE_CURRENT_LIST_DIR}/debian.cmake)
string(APPEND CMAKE_CXX_FLAGS_INIT " -Wno-psabi") # a note for each iterator, about a change of long ago
