set(OBX_CROSS s390x)
set(OBX_TRIPLET s390x-linux-gnu)
set(CMAKE_SYSTEM_PROCESSOR s390x)
set(OBX_LOADER ld64.so.1)
# Locales are of the target's byte order.
set(OBX_EMULATOR_OPTIONS -E LOCPATH=${CMAKE_CURRENT_LIST_DIR}/../../build-deps/s390x/usr/lib/locale)
include(${CMAKE_CURRENT_LIST_DIR}/debian.cmake)
