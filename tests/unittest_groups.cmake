# Cases in Python against real proxies and browsers, one CTest entry a group.

# Selenium comes with the system's Python; another one may stand before it in the path.
find_program(VELMORA_SYSTEM_PYTHON python3 PATHS /usr/bin NO_DEFAULT_PATH)

# add_unittest_groups(prefix engine label seconds group...): "prefix.group" runs the test case `group` of the
# calling folder with the engine and the built modules. A group takes at most so many seconds.
function(add_unittest_groups prefix engine label seconds)
  foreach(group IN LISTS ARGN)
    add_test(NAME ${prefix}.${group} COMMAND ${VELMORA_SYSTEM_PYTHON} -B -m unittest -v ${group}
      WORKING_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR})
    set_tests_properties(${prefix}.${group} PROPERTIES LABELS ${label} TIMEOUT ${seconds}
      ENVIRONMENT "VELMORA_MODULES=${CMAKE_BINARY_DIR};VELMORA_ENGINE=${engine}")
  endforeach()
endfunction()
