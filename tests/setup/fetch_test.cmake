# Fetches libiconv's sources without npm, from registries that are folders: FOLDER is this test's,
# ARCHIVE what a registry holds, SOURCE the project.
file(REMOVE_RECURSE ${FOLDER})
set(registry ${FOLDER}/registry/iconv/-)
file(COPY ${ARCHIVE} DESTINATION ${registry})
file(WRITE ${FOLDER}/home/.npmrc "color = false\nregistry = \"file://${FOLDER}/registry/\"\n")
file(WRITE ${FOLDER}/false/iconv/-/iconv-3.0.1.tgz "something else")
file(WRITE ${FOLDER}/fetch.cmake
  "cmake_minimum_required(VERSION 3.25)\ninclude(${SOURCE}/cmake/FetchLibiconv.cmake)\n"
  "velmora_fetch_libiconv(${FOLDER}/deps)\n")
file(MAKE_DIRECTORY ${FOLDER}/empty)

# fetch(expected environment...): what it says matches, and an archive is there if it says nothing.
function(fetch expected)
  file(REMOVE_RECURSE ${FOLDER}/deps)
  if(unpacked)
    file(WRITE ${FOLDER}/deps/registry-url/usr/share/nodejs/registry-url/index.js
      "const result = rc('npm', {registry: 'file://${FOLDER}/registry/'});\n")
  endif()
  execute_process(
    COMMAND ${CMAKE_COMMAND} -E env --unset=npm_config_registry --unset=NPM_CONFIG_REGISTRY
      --unset=NPM_CONFIG_USERCONFIG PATH=${FOLDER}/empty ${ARGN}
      ${CMAKE_COMMAND} -P ${FOLDER}/fetch.cmake
    ERROR_VARIABLE said OUTPUT_QUIET)
  string(REGEX REPLACE "[ \n]+" " " said "${said}")
  if(expected STREQUAL "" AND said STREQUAL "" AND EXISTS ${FOLDER}/deps/iconv-3.0.1.tgz)
    return()
  endif()
  if(expected STREQUAL "" OR NOT said MATCHES "${expected}" OR EXISTS ${FOLDER}/deps/iconv-3.0.1.tgz)
    message(SEND_ERROR "${ARGN}: expected \"${expected}\", it said: ${said}")
  endif()
endfunction()

fetch("" HOME=${FOLDER}/home)
fetch("" HOME=${FOLDER}/empty NPM_CONFIG_REGISTRY=file://${FOLDER}/registry)
fetch("" HOME=${FOLDER}/home npm_config_registry=file://${FOLDER}/registry/)
fetch("wrong integrity hash" HOME=${FOLDER}/home npm_config_registry=file://${FOLDER}/false)
fetch("cannot be fetched" HOME=${FOLDER}/home npm_config_registry=file://${FOLDER}/empty)
if(NOT EXISTS /etc/npmrc AND NOT EXISTS /usr/share/nodejs/registry-url)
  fetch("takes npm, or node-registry-url" HOME=${FOLDER}/empty)
  set(unpacked TRUE)
  fetch("" HOME=${FOLDER}/empty)
endif()
