# Compiler settings, sanitizers and the third-party libraries, in one place.
include(CheckCSourceCompiles)

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS ON)
set(CMAKE_C_STANDARD 11)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
    set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "Debug, Release, RelWithDebInfo or MinSizeRel" FORCE)
endif()
set(CMAKE_CXX_FLAGS_RELWITHDEBINFO "-O2 -g")
set(CMAKE_C_FLAGS_RELWITHDEBINFO "-O2 -g")

if(OBX_CCACHE)
    find_program(CCACHE ccache REQUIRED)
    set(CMAKE_C_COMPILER_LAUNCHER ${CCACHE})
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE})
endif()

# Nothing in the programs tells where they were built.
add_compile_options(-ffile-prefix-map=${CMAKE_SOURCE_DIR}=. -ffile-prefix-map=${CMAKE_BINARY_DIR}=build)
if(OBX_STATIC_DEPS AND NOT OBX_SANITIZE AND NOT OBX_FUZZ)
    # What is linked at fixed addresses is compiled for them. (Flags of a variable stand before the -fPIC of modules.)
    string(APPEND CMAKE_C_FLAGS " -fno-pie")
    string(APPEND CMAKE_CXX_FLAGS " -fno-pie")
    string(APPEND CMAKE_EXE_LINKER_FLAGS " -no-pie")
endif()
if(OBX_TESTS AND OBX_TEST_LINK_FLAGS)
    string(APPEND CMAKE_EXE_LINKER_FLAGS " ${OBX_TEST_LINK_FLAGS}") # of a toolchain whose tests are emulated
endif()

add_library(obx_flags INTERFACE)
target_compile_options(obx_flags INTERFACE
    -Wall -Wextra -Wshadow -Wformat=2 -Wundef -Wno-missing-field-initializers
    $<$<COMPILE_LANGUAGE:CXX>:-Wconversion -Wno-sign-conversion -Wnon-virtual-dtor>
    -ffunction-sections -fdata-sections -fstack-protector-strong
    $<$<BOOL:${OBX_WERROR}>:-Werror>)
target_compile_definitions(obx_flags INTERFACE _GNU_SOURCE _FILE_OFFSET_BITS=64 _TIME_BITS=64)
target_link_options(obx_flags INTERFACE -Wl,--gc-sections)
if(OBX_FUZZ)
    set(OBX_SANITIZE ON)
    target_compile_options(obx_flags INTERFACE -fsanitize=fuzzer-no-link)
endif()
if(OBX_SANITIZE)
    target_compile_options(obx_flags INTERFACE
        -fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer
        $<$<COMPILE_LANGUAGE:CXX>:-fno-sanitize=vptr>)  # which needs RTTI everywhere
    target_link_options(obx_flags INTERFACE -fsanitize=address,undefined)
endif()

# Programs and libraries for the router: no exceptions and no RTTI, they double the size on its flash; no guards
# around the statics of functions, which bring the C++ library along.
add_library(obx_lean INTERFACE)
target_link_libraries(obx_lean INTERFACE obx_flags)
target_compile_options(obx_lean INTERFACE
    $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti -fno-threadsafe-statics>)

# obx_dependency(TARGET HEADER LIBRARY...): an interface target for a third-party library, static where
# OBX_STATIC_DEPS asks for it and the archive is there.
function(obx_dependency target header)
    add_library(${target} INTERFACE)
    find_path(${target}_INCLUDE ${header} PATH_SUFFIXES lua5.3 REQUIRED)
    target_include_directories(${target} SYSTEM INTERFACE ${${target}_INCLUDE})
    foreach(name ${ARGN})
        set(names ${name})
        if(OBX_STATIC_DEPS AND NOT OBX_SANITIZE)
            set(names lib${name}.a ${name})
        endif()
        find_library(${target}_${name} NAMES ${names} REQUIRED)
        target_link_libraries(${target} INTERFACE ${${target}_${name}})
    endforeach()
endfunction()

# obx_termcap(TARGET): adds the library with termcap's functions, which readline needs. A system may have several, some
# of them empty: the first that really links is taken.
function(obx_termcap target)
    foreach(name tinfo ncursesw ncurses)
        set(names ${name})
        if(OBX_STATIC_DEPS AND NOT OBX_SANITIZE)
            set(names lib${name}.a ${name})
        endif()
        find_library(termcap_${name} NAMES ${names})
        if(NOT termcap_${name})
            continue()
        endif()
        set(CMAKE_REQUIRED_LIBRARIES ${termcap_${name}})
        check_c_source_compiles("int tgetent(char*, const char*); int main(void) { return tgetent(0, \"dumb\"); }"
            TERMCAP_IN_${name})
        if(TERMCAP_IN_${name})
            target_link_libraries(${target} INTERFACE ${termcap_${name}})
            return()
        endif()
    endforeach()
    message(FATAL_ERROR "No library with tgetent() was found (tinfo, ncursesw or ncurses)")
endfunction()

obx_dependency(dep_jansson jansson.h jansson)
obx_dependency(dep_lua lua.h lua5.3)
if(OBX_STATIC_DEPS AND NOT OBX_SANITIZE)
    add_library(ox_lazy_math STATIC ${CMAKE_SOURCE_DIR}/platform/lazy_math/lazy_math.cpp)
    target_compile_options(ox_lazy_math PRIVATE -fno-builtin)
    target_link_libraries(ox_lazy_math PRIVATE obx_lean)
    target_link_libraries(dep_lua INTERFACE ox_lazy_math)
endif()
target_link_libraries(dep_lua INTERFACE m ${CMAKE_DL_LIBS})
if(OBX_READLINE)
    obx_dependency(dep_readline readline/readline.h readline)
    obx_termcap(dep_readline)
endif()
if(OBX_TLS OR OBX_DAEMON)
    obx_dependency(dep_mbedtls mbedtls/ssl.h mbedtls mbedx509 mbedcrypto)
endif()
if(OBX_DAEMON)
    obx_dependency(dep_crypt crypt.h crypt)
    obx_dependency(dep_expat expat.h expat)
endif()
find_package(Threads REQUIRED)

# obx_program(TARGET): link options of a program that starts quickly: nothing shared but libc.
function(obx_program target)
    if(OBX_STATIC_DEPS AND NOT OBX_SANITIZE)
        target_link_options(${target} PRIVATE -static-libstdc++ -static-libgcc)
    endif()
    target_link_options(${target} PRIVATE -Wl,--as-needed -Wl,-O1)
endfunction()

# obx_terminal(TARGET): link options of a program that edits lines: terminal/library_memory.cpp stands between the terminal's
# library and the memory.
function(obx_terminal target)
    if(OBX_READLINE)
        target_link_options(${target} PRIVATE -Wl,--wrap=calloc -Wl,--wrap=strdup)
    endif()
endfunction()

# obx_export_lua(TARGET): the whole of Lua is there for modules in C that the program loads. Other archives stay hidden:
# MIPS would show, and look up at each start, whatever its table of addresses holds.
function(obx_export_lua target)
    set(hidden obxc_rooms ox_lua ox_conf ox_tr ox_global ox_lazy_math jansson readline tinfo ncursesw ncurses
        mbedtls mbedx509 mbedcrypto stdc++ gcc gcc_eh c_nonshared)
    list(TRANSFORM hidden REPLACE "(.+)" "lib\\1.a")
    list(JOIN hidden ":" hidden)
    target_link_options(${target} PRIVATE -Wl,--exclude-libs,${hidden}
        -Wl,--export-dynamic-symbol=lua_* -Wl,--export-dynamic-symbol=luaL_* -Wl,--export-dynamic-symbol=luaopen_*)
endfunction()
