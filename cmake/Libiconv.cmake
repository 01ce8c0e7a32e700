# GNU libiconv as the target `velmora_libiconv`.
#
# Debian has no package of it. Its sources come inside the npm package "iconv"; the npm client
# fetches that package, its integrity hash is checked, and the library is built as a static archive
# with every symbol hidden, so that it never meets a host's own iconv. The sources are kept under
# build/deps for all presets.

if(VELMORA_SYSTEM_LIBICONV)
  find_path(LIBICONV_INCLUDE_DIR iconv.h PATHS /usr/local/include NO_DEFAULT_PATH)
  find_path(LIBICONV_INCLUDE_DIR iconv.h)
  find_library(LIBICONV_LIBRARY iconv REQUIRED)
  add_library(velmora_libiconv INTERFACE)
  target_include_directories(velmora_libiconv SYSTEM INTERFACE ${LIBICONV_INCLUDE_DIR})
  target_link_libraries(velmora_libiconv INTERFACE ${LIBICONV_LIBRARY})
  return()
endif()

set(VELMORA_DEPS_DIR ${CMAKE_SOURCE_DIR}/build/deps CACHE PATH "Where fetched sources are kept")
set(libiconv_dir ${VELMORA_DEPS_DIR}/iconv-3.0.1)
set(libiconv_archive ${VELMORA_DEPS_DIR}/iconv-3.0.1.tgz)
set(libiconv_sha512
  9499c52f155cd1df3647b19f53b6bd46e8ca55443711e7b5f6d3ca59958126d0041911d51321730ad6cd97718f2ae0e71c10514f8fe70d2e11bbd0080d3ef6a8)

if(NOT EXISTS ${libiconv_archive})
  file(MAKE_DIRECTORY ${VELMORA_DEPS_DIR})
  execute_process(
    COMMAND npm pack --loglevel=error iconv@3.0.1
    WORKING_DIRECTORY ${VELMORA_DEPS_DIR}
    OUTPUT_QUIET
    COMMAND_ERROR_IS_FATAL ANY)
endif()
file(SHA512 ${libiconv_archive} libiconv_found)
if(NOT libiconv_found STREQUAL libiconv_sha512)
  file(REMOVE ${libiconv_archive})
  message(FATAL_ERROR "libiconv: the fetched package has the wrong integrity hash")
endif()
if(NOT EXISTS ${libiconv_dir}/package/support/iconv.h)
  file(ARCHIVE_EXTRACT INPUT ${libiconv_archive} DESTINATION ${libiconv_dir})
endif()

add_library(velmora_libiconv STATIC
  ${libiconv_dir}/package/deps/libiconv/lib/iconv.c
  ${libiconv_dir}/package/support/localcharset.c)
target_include_directories(velmora_libiconv SYSTEM PUBLIC ${libiconv_dir}/package/support)
target_compile_definitions(velmora_libiconv PRIVATE ENABLE_EXTRA=1 ICONV_CONST=const)
target_compile_options(velmora_libiconv PRIVATE -w -O2)
set_target_properties(velmora_libiconv PROPERTIES C_VISIBILITY_PRESET hidden)
