# Runs at installation, when it is known where that goes: lays down what tells the parts of each other,
# the folders that the proxy's user writes to, and a list of all that is installed.

# place(RESULT FOLDER): where a folder lies that may be relative to the prefix. What is installed below
# /usr has its settings and its state beside it.
macro(place result folder)
  set(${result} ${folder})
  if(NOT IS_ABSOLUTE "${folder}")
    set(${result} ${CMAKE_INSTALL_PREFIX}/${folder})
    if(CMAKE_INSTALL_PREFIX STREQUAL "/usr" AND "${folder}" MATCHES "^(etc|var)(/|$)")
      set(${result} /${folder})
    endif()
  endif()
endmacro()

# fill_in(SAMPLE FILE): writes a file after its sample.
macro(fill_in sample file)
  message(STATUS "Installing: $ENV{DESTDIR}${file}")
  file(READ ${packaging}/${sample}.in text)
  string(CONFIGURE "${text}" text @ONLY)
  file(WRITE $ENV{DESTDIR}${file} "${text}")
  file(CHMOD $ENV{DESTDIR}${file} PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
  list(APPEND CMAKE_INSTALL_MANIFEST_FILES ${file})
endmacro()

place(plugin_dir_full ${plugin_dir})
place(data_dir_full ${data_dir}/velmora)
place(policy_file ${settings_dir}/velmora/velmora.toml)
place(rotation_file ${settings_dir}/logrotate.d/velmora)
place(log_dir ${state_dir}/log/velmora)
place(cache_dir ${state_dir}/cache/velmora)
place(state_folder ${state_dir}/lib/velmora)
place(bin_dir_full ${bin_dir})

fill_in(velmora.toml ${data_dir_full}/velmora.toml)
foreach(sample IN ITEMS squid.conf velmora-lists.service velmora-lists.timer
    velmora-report.service velmora-report.timer velmora-metrics.service)
  fill_in(${sample} ${data_dir_full}/${sample})
endforeach()

# Files that administrators change are laid down once and then left alone.
foreach(pair IN ITEMS "velmora.toml;${policy_file}" "logrotate;${rotation_file}")
  list(GET pair 0 sample)
  list(GET pair 1 file)
  if(EXISTS $ENV{DESTDIR}${file})
    message(STATUS "Left as it is: $ENV{DESTDIR}${file}")
    list(APPEND CMAKE_INSTALL_MANIFEST_FILES ${file})
  else()
    fill_in(${sample} ${file})
  endif()
endforeach()

# The event log tells what people visit and is read by its group alone; the compiled ad lists; what the
# proxy is told while it runs, which everybody may read but for its key.
foreach(folder IN LISTS log_dir cache_dir state_folder)
  set(others "")
  if(folder STREQUAL state_folder)
    set(others WORLD_READ WORLD_EXECUTE)
  endif()
  set(folder $ENV{DESTDIR}${folder})
  if(NOT EXISTS ${folder})
    file(MAKE_DIRECTORY ${folder})
    file(CHMOD ${folder} DIRECTORY_PERMISSIONS
      OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE ${others})
    execute_process(COMMAND chown ${user}:${user} ${folder} RESULT_VARIABLE failure ERROR_QUIET)
    if(failure)
      message(STATUS "To be given to the user that the proxy works as: ${folder}")
    endif()
  endif()
endforeach()

# Kept with the installation, because a folder that was built in comes and goes; with what earlier
# installations laid down.
set(list_file ${data_dir_full}/installed-files.txt)
set(installed ${CMAKE_INSTALL_MANIFEST_FILES} ${list_file})
if(EXISTS $ENV{DESTDIR}${list_file})
  file(STRINGS $ENV{DESTDIR}${list_file} earlier)
  list(APPEND installed ${earlier})
endif()
list(REMOVE_DUPLICATES installed)
list(SORT installed)
list(JOIN installed "\n" installed)
file(WRITE $ENV{DESTDIR}${list_file} "${installed}\n")
list(APPEND CMAKE_INSTALL_MANIFEST_FILES ${list_file})
