# velmora_fetch_libiconv(folder): the npm package with libiconv's sources in `folder`, as
# iconv-3.0.1.tgz, its integrity hash checked. What is there already is not fetched again.
#
# The npm client fetches it where there is one. It is a large thing to install for one file, so
# without it CMake does: from the registry that the user's npm configuration names, or else from the
# usual one, whose address stands in Debian's package node-registry-url, installed or unpacked in
# the folder.

set(VELMORA_LIBICONV_ARCHIVE iconv-3.0.1.tgz)
set(VELMORA_LIBICONV_SHA512
  9499c52f155cd1df3647b19f53b6bd46e8ca55443711e7b5f6d3ca59958126d0041911d51321730ad6cd97718f2ae0e71c10514f8fe70d2e11bbd0080d3ef6a8)

# velmora_npm_registry(variable folder): the registry's address without a slash at its end; empty if
# nothing here knows one.
function(velmora_npm_registry variable folder)
  set(registry "$ENV{npm_config_registry}")
  if(NOT registry)
    set(registry "$ENV{NPM_CONFIG_REGISTRY}")
  endif()
  foreach(file IN ITEMS "$ENV{NPM_CONFIG_USERCONFIG}" "$ENV{HOME}/.npmrc" /etc/npmrc)
    if(NOT registry AND EXISTS "${file}" AND NOT IS_DIRECTORY "${file}")
      file(STRINGS "${file}" lines REGEX "^ *registry *=")
      list(POP_BACK lines line)
      string(REGEX REPLACE "^[^=]*= *[\"']?([^\"' ]*).*" "\\1" registry "${line}")
    endif()
  endforeach()
  foreach(root IN ITEMS "" "${folder}/registry-url")
    set(file ${root}/usr/share/nodejs/registry-url/index.js)
    if(NOT registry AND EXISTS ${file})
      file(STRINGS ${file} lines REGEX "registry: *'[^']+'")
      list(POP_FRONT lines line)
      string(REGEX REPLACE ".*registry: *'([^']+)'.*" "\\1" registry "${line}")
    endif()
  endforeach()
  string(REGEX REPLACE "/+$" "" registry "${registry}")
  set(${variable} "${registry}" PARENT_SCOPE)
endfunction()

function(velmora_fetch_libiconv folder)
  set(archive ${folder}/${VELMORA_LIBICONV_ARCHIVE})
  if(NOT EXISTS ${archive})
    message(STATUS "Fetching libiconv's sources")
    file(MAKE_DIRECTORY ${folder})
    find_program(npm npm NO_CACHE)
    if(npm)
      execute_process(COMMAND ${npm} pack --loglevel=error iconv@3.0.1
        WORKING_DIRECTORY ${folder} OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
    else()
      velmora_npm_registry(registry ${folder})
      if(NOT registry)
        message(FATAL_ERROR "libiconv: its sources come in an npm package; fetching it takes npm, or "
          "node-registry-url, or a registry in the environment (npm_config_registry) or in ~/.npmrc. "
          "With a GNU libiconv of your own: -DVELMORA_SYSTEM_LIBICONV=ON")
      endif()
      file(DOWNLOAD ${registry}/iconv/-/${VELMORA_LIBICONV_ARCHIVE} ${archive}
        STATUS status INACTIVITY_TIMEOUT 60)
      list(POP_FRONT status code)
      if(code)
        file(REMOVE ${archive})
        message(FATAL_ERROR "libiconv: its sources cannot be fetched: ${status}")
      endif()
    endif()
  endif()
  file(SHA512 ${archive} found)
  if(NOT found STREQUAL VELMORA_LIBICONV_SHA512)
    file(REMOVE ${archive})
    message(FATAL_ERROR "libiconv: the fetched package has the wrong integrity hash")
  endif()
endfunction()
