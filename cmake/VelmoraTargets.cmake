# What all of the project's targets are built with, and the short forms that make them.

add_library(velmora_options INTERFACE)
target_compile_options(velmora_options INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
if(VELMORA_SANITIZE)
  target_compile_options(velmora_options INTERFACE
    -fsanitize=${VELMORA_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer
    # The instrumented code of the standard library's headers looks uninitialized to the compiler.
    -Wno-maybe-uninitialized)
  target_link_options(velmora_options INTERFACE -fsanitize=${VELMORA_SANITIZE})
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
  target_link_libraries(${name} PRIVATE velmora_options velmora_headers ${ARG_LIBRARIES}
    GTest::gmock GTest::gtest_main)
  target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR}/tests)
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60
    PROPERTIES TIMEOUT 300 LABELS "${ARG_LABELS}")
endfunction()
