cmake_minimum_required(VERSION 3.25)
# A layer of src/ includes only from itself, from layers below it and from the floor, base/; the
# host's side and the ad-blocking library include nothing of src/, the floor nothing but itself, and
# the public headers nothing but each other.
set(allowed_platform platform)
set(allowed_core ${allowed_platform} core)
set(allowed_diag ${allowed_core} diag)
foreach(layer pipeline html script gif)
  set(allowed_${layer} ${allowed_diag} ${layer})
endforeach()
set(allowed_filter ${allowed_diag} pipeline html script gif filter)
set(allowed_plugin ${allowed_filter} plugin)

set(failures "")
# check(FOLDER PREFIX ALLOWED): of the includes that begin with PREFIX, the next folder is one of ALLOWED.
# A file without a folder is the includer's neighbour.
function(check folder prefix allowed)
  file(GLOB_RECURSE files ${ROOT}/${folder}/*.h ${ROOT}/${folder}/*.cpp)
  foreach(file IN LISTS files)
    file(STRINGS ${file} includes REGEX "^#include \"${prefix}[^/\"]+/")
    foreach(include IN LISTS includes)
      string(REGEX REPLACE "^#include \"${prefix}([^/\"]+).*" "\\1" place "${include}")
      if(NOT place IN_LIST allowed)
        list(APPEND failures "${file}: ${include}")
      endif()
    endforeach()
  endforeach()
  set(failures ${failures} PARENT_SCOPE)
endfunction()

foreach(layer platform core diag pipeline html script gif filter plugin)
  check(src/${layer} "" "base;${allowed_${layer}}")
endforeach()
check(include "" "")
check(base "" "base")
check(adblock/matcher "" "base;matcher")
check(adblock/module "" "base;matcher;module;vexlar")
check(host "" "base;host")

# What a proxy loads knows nothing of the command, its store and its web page.
check(apps/ecap "" "base;host;ecap")
check(apps/trafficserver "" "base;host;trafficserver")
check(apps/store "" "base;host;store")

# The rooms of host/, lowest first.
set(allowed "")
foreach(room loading limits web codings bodies events policy requests responses interface)
  list(APPEND allowed ${room})
  check(host/${room} "host/" "${allowed}")
endforeach()

# Nothing above the platform layer reaches past it to the system.
file(GLOB_RECURSE files ${ROOT}/src/*.h ${ROOT}/src/*.cpp)
list(FILTER files EXCLUDE REGEX "/src/platform/")
foreach(file IN LISTS files)
  file(STRINGS ${file} includes REGEX
    "^#include <(dlfcn|unistd|fcntl|pthread|semaphore|sys/.*|time|ctime|fstream|filesystem|locale|cwctype|cctype)(\\.h)?>")
  if(includes)
    list(APPEND failures "${file}: ${includes}")
  endif()
endforeach()

if(failures)
  list(JOIN failures "\n" text)
  message(FATAL_ERROR "includes against the layers:\n${text}")
endif()
