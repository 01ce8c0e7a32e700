# What all of the project's targets are built with, and the short forms that make them.

# A filter reads what strangers send: what goes wrong in spite of all tests is to end as a crash and
# not as somebody else's program. tests/objects looks whether this arrives in what is built.
add_library(velmora_hardening INTERFACE)
if(NOT VELMORA_SANITIZE)
  target_compile_options(velmora_hardening INTERFACE
    -fstack-protector-strong -fstack-clash-protection
    # Takes an optimising compiler; some of them define it themselves.
    $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE> $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>)
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
    target_compile_options(velmora_hardening INTERFACE -fcf-protection)
  endif()
endif()
target_link_options(velmora_hardening INTERFACE
  -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack)
include(CheckPIESupported)
check_pie_supported(LANGUAGES C CXX)

add_library(velmora_options INTERFACE)
target_link_libraries(velmora_options INTERFACE velmora_hardening)
target_compile_options(velmora_options INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow
  # Rows of tables that begin with an "if" look like bad indentation to clang.
  "$<$<CXX_COMPILER_ID:Clang>:-Wthread-safety;-Wno-misleading-indentation>")
if(VELMORA_WERROR)
  target_compile_options(velmora_options INTERFACE -Werror)
endif()
# A module with unique symbols can never be unloaded; no other compiler makes them.
add_library(velmora_unloadable INTERFACE)
target_compile_options(velmora_unloadable INTERFACE
  $<$<CXX_COMPILER_ID:GNU>:-fno-gnu-unique>)
target_link_options(velmora_unloadable INTERFACE
  $<$<CXX_COMPILER_ID:GNU>:-fno-gnu-unique>)
if(VELMORA_SANITIZE)
  target_compile_options(velmora_options INTERFACE
    -fsanitize=${VELMORA_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer
    # The instrumented code of the standard library's headers looks uninitialized to the compiler.
    $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  target_link_options(velmora_options INTERFACE -fsanitize=${VELMORA_SANITIZE})
endif()

# Where it pays, the plug-in's layers are optimised once more together when it is linked. Tests and
# programs are linked from the same objects, but from the code in them as it was compiled: each would
# be optimised anew.
set(pays_lto OFF)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_BUILD_TYPE STREQUAL "Release" AND NOT VELMORA_SANITIZE)
  set(pays_lto ON)
endif()
option(VELMORA_LTO "Optimise the plug-in when it is linked, with GCC" ${pays_lto})
add_library(velmora_optimised_at_link INTERFACE)
if(VELMORA_LTO)
  target_compile_options(velmora_optimised_at_link INTERFACE -flto=auto -ffat-lto-objects)
  target_link_options(velmora_options INTERFACE
    $<$<NOT:$<BOOL:$<TARGET_PROPERTY:INTERPROCEDURAL_OPTIMIZATION>>>:-fno-lto>)
endif()

# Packages are built in two stages in one folder (debian/rules): GENERATE makes a plug-in that counts
# which ways it goes, USE, after it has been at work, one that is made for these.
set(VELMORA_PROFILE "" CACHE STRING "Have the plug-in count its ways (GENERATE), or made for them (USE), with GCC")
if(VELMORA_PROFILE STREQUAL "GENERATE")
  target_compile_options(velmora_optimised_at_link INTERFACE -fprofile-generate -fprofile-update=atomic)
  target_link_options(velmora_options INTERFACE -fprofile-generate)
elseif(VELMORA_PROFILE STREQUAL "USE")
  target_compile_options(velmora_optimised_at_link INTERFACE
    -fprofile-use -fprofile-partial-training -Wno-missing-profile)
endif()

# The public headers alone.
add_library(velmora_headers INTERFACE)
target_include_directories(velmora_headers INTERFACE ${CMAKE_SOURCE_DIR}/include)

# velmora_sources(variable folder): the .cpp files of a folder, watched for additions.
function(velmora_sources variable folder)
  file(GLOB sources CONFIGURE_DEPENDS ${folder}/*.cpp)
  set(${variable} ${sources} PARENT_SCOPE)
endfunction()

# velmora_test(name LAYERS layer... LIBRARIES library... [LABELS label...]): a test program from
# every .cpp file of the current folder, linked from the objects of the named layers.
function(velmora_test name)
  cmake_parse_arguments(ARG "" "" "LAYERS;LIBRARIES;LABELS;SOURCES" ${ARGN})
  if(NOT ARG_SOURCES)
    velmora_sources(ARG_SOURCES ${CMAKE_CURRENT_SOURCE_DIR})
  endif()
  add_executable(${name} ${ARG_SOURCES})
  foreach(layer IN LISTS ARG_LAYERS)
    target_link_libraries(${name} PRIVATE velmora_${layer})
  endforeach()
  target_link_libraries(${name} PRIVATE velmora_options velmora_base ${ARG_LIBRARIES}
    GTest::gmock GTest::gtest_main)
  target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR}/tests)
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60
    PROPERTIES TIMEOUT 300 LABELS "${ARG_LABELS}")
endfunction()
