# Compiler settings, sanitizers and the third-party libraries, in one place.

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

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    set(CMAKE_C_COMPILER_LAUNCHER ${CCACHE_PROGRAM})
    # Without this what is compiled with a precompiled header is never found in the cache.
    set(CMAKE_CXX_COMPILER_LAUNCHER
        ${CMAKE_COMMAND} -E env CCACHE_SLOPPINESS=pch_defines,time_macros ${CCACHE_PROGRAM})
endif()

add_library(obx_flags INTERFACE)
target_compile_options(obx_flags INTERFACE
    -Wall -Wextra -Wshadow -Wformat=2 -Wundef -Wno-missing-field-initializers
    $<$<COMPILE_LANGUAGE:CXX>:-Wconversion -Wno-sign-conversion -Wnon-virtual-dtor>
    -ffunction-sections -fdata-sections -fstack-protector-strong)
target_compile_definitions(obx_flags INTERFACE _GNU_SOURCE _FILE_OFFSET_BITS=64)
target_link_options(obx_flags INTERFACE -Wl,--gc-sections)
if(OBX_SANITIZE)
    target_compile_options(obx_flags INTERFACE
        -fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
    target_link_options(obx_flags INTERFACE -fsanitize=address,undefined)
endif()

# Programs and libraries for the router: no exceptions and no RTTI, they double the size on its flash.
add_library(obx_lean INTERFACE)
target_link_libraries(obx_lean INTERFACE obx_flags)
target_compile_options(obx_lean INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti>)

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

obx_dependency(dep_jansson jansson.h jansson)
obx_dependency(dep_lua lua.h lua5.3)
if(OBX_STATIC_DEPS AND NOT OBX_SANITIZE)
    add_library(ox_lazy_math STATIC ${CMAKE_SOURCE_DIR}/platform/lazy_math/lazy_math.cpp)
    target_compile_options(ox_lazy_math PRIVATE -fno-builtin -fno-threadsafe-statics)
    target_link_libraries(ox_lazy_math PRIVATE obx_lean)
    target_link_libraries(dep_lua INTERFACE ox_lazy_math)
endif()
target_link_libraries(dep_lua INTERFACE m ${CMAKE_DL_LIBS})
obx_dependency(dep_readline readline/readline.h readline tinfo)
obx_dependency(dep_mbedtls mbedtls/ssl.h mbedtls mbedx509 mbedcrypto)
obx_dependency(dep_crypt crypt.h crypt)
obx_dependency(dep_expat expat.h expat)
find_package(Threads REQUIRED)

# obx_program(TARGET): link options of a program that starts quickly: nothing shared but libc.
function(obx_program target)
    if(OBX_STATIC_DEPS AND NOT OBX_SANITIZE)
        set_target_properties(${target} PROPERTIES POSITION_INDEPENDENT_CODE OFF)
        target_link_options(${target} PRIVATE -static-libstdc++ -static-libgcc -no-pie)
    endif()
    target_link_options(${target} PRIVATE -Wl,--as-needed -Wl,-O1 -Wl,--hash-style=gnu)
endfunction()

# obx_export_lua(TARGET): the whole of Lua is there for modules in C that the program loads.
function(obx_export_lua target)
    target_link_options(${target} PRIVATE
        -Wl,--export-dynamic-symbol=lua_* -Wl,--export-dynamic-symbol=luaL_* -Wl,--export-dynamic-symbol=luaopen_*)
endfunction()
