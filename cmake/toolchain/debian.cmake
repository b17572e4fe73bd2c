# What the toolchains of Debian's cross compilers share. OBX_CROSS is the name of the folder in build-deps that holds
# the libraries, OBX_TRIPLET the compiler's, OBX_LOADER the file that starts programs; CMAKE_SYSTEM_PROCESSOR is also
# the name of the emulator, OBX_EMULATOR_OPTIONS are its options.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${OBX_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${OBX_TRIPLET}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${OBX_TRIPLET})

# Libraries and headers are the target's: those that packaging/cross has fetched or built. Programs are this machine's.
cmake_path(SET libraries NORMALIZE ${CMAKE_CURRENT_LIST_DIR}/../../build-deps/${OBX_CROSS})
set(CMAKE_FIND_ROOT_PATH ${libraries} /usr/${OBX_TRIPLET})
set(headers "-idirafter ${libraries}/usr/include/${OBX_TRIPLET}") # what Debian's headers include of their architecture
set(CMAKE_C_FLAGS_INIT ${headers})
set(CMAKE_CXX_FLAGS_INIT ${headers})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The emulator shows programs the root directory of this machine, with no other one laid over it: what is built for tests
# names its C library by whole paths.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-${CMAKE_SYSTEM_PROCESSOR}-static ${OBX_EMULATOR_OPTIONS})
set(OBX_TEST_LINK_FLAGS "-Wl,--dynamic-linker=/usr/${OBX_TRIPLET}/lib/${OBX_LOADER} -Wl,-rpath,/usr/${OBX_TRIPLET}/lib")
