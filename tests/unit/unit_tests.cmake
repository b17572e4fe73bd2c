# Unit tests: one program for each room, unit/ROOM; each of its files is a test of ctest.
find_package(GTest REQUIRED)

# What every unit program holds: its entry, and the headers that take longest to compile. Test code is not optimised:
# it is compiled far more often than it runs long.
add_library(unit_support OBJECT unit/support/main.cpp)
target_link_libraries(unit_support PUBLIC obxc_rooms obxd_rooms ox_lua ox_conf ox_tr ox_global obx_flags dep_lua GTest::gtest)
target_include_directories(unit_support PUBLIC unit/support ${CMAKE_SOURCE_DIR})
target_compile_definitions(unit_support PUBLIC OBX_SOURCE_DIR="${CMAKE_SOURCE_DIR}")
set_source_files_properties(unit/commands/dispatch_test.cpp PROPERTIES
    COMPILE_DEFINITIONS OBX_BINARY_DIR="${CMAKE_BINARY_DIR}")
target_compile_options(unit_support PUBLIC -O0)
target_precompile_headers(unit_support PRIVATE <gtest/gtest.h> <algorithm> <filesystem> <fstream> <functional>
    <map> <memory> <string> <thread> <vector>)

function(unit_program name)
    add_executable(${name} ${ARGN})
    target_link_libraries(${name} PRIVATE unit_support)
    target_precompile_headers(${name} REUSE_FROM unit_support)
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
endfunction()

# Files that put doubles in the place of functions that their room calls, which no other test could use.
set(apart jrpc_jump_test lua_modules_test dispatch_test script_test identity_test prompt_test screen_test request_test)

set(unit_timeout 120)
if(CMAKE_CROSSCOMPILING_EMULATOR)
    set(unit_timeout 900)
endif()
file(GLOB unit_tests CONFIGURE_DEPENDS RELATIVE ${CMAKE_CURRENT_SOURCE_DIR}/unit
    ${CMAKE_CURRENT_SOURCE_DIR}/unit/*/*_test.cpp)
file(GLOB stray_tests CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/unit/*_test.cpp)
if(stray_tests)
    message(FATAL_ERROR "These tests belong in the folder of a room below tests/unit: ${stray_tests}")
endif()
foreach(source ${unit_tests})
    get_filename_component(room ${source} DIRECTORY)
    get_filename_component(file ${source} NAME)
    get_filename_component(name ${source} NAME_WE)
    set(program unit_${room})
    if(name IN_LIST apart)
        set(program unit_${room}_${name})
    endif()
    if(TARGET ${program})
        target_sources(${program} PRIVATE unit/${source})
    else()
        unit_program(${program} unit/${source})
    endif()
    add_test(NAME unit.${room}.${name} COMMAND ${program} --file=${file})
    set_tests_properties(unit.${room}.${name} PROPERTIES TIMEOUT ${unit_timeout})
endforeach()

# What calls Mbed TLS does so without the functions that later versions lack.
add_library(without_deprecated OBJECT ${CMAKE_SOURCE_DIR}/obxd/digest.cpp ${CMAKE_SOURCE_DIR}/obxd/net/tls.cpp
    ${CMAKE_SOURCE_DIR}/platform/global/jrpc/tls.cpp ${CMAKE_SOURCE_DIR}/platform/global/system/md5_sum.cpp)
target_link_libraries(without_deprecated PRIVATE obxd_rooms obx_lean)
target_compile_definitions(without_deprecated PRIVATE MBEDTLS_DEPRECATED_REMOVED=)
