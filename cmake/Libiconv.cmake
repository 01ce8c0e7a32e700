# GNU libiconv as the target `velmora_libiconv`.
#
# Debian has no package of it. Its sources come inside the npm package "iconv", and the library is
# built as a static archive with every symbol hidden, so that it never meets a host's own iconv. The
# sources are kept under build/deps for all presets.

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
include(FetchLibiconv)
velmora_fetch_libiconv(${VELMORA_DEPS_DIR})
if(NOT EXISTS ${libiconv_dir}/package/support/iconv.h)
  file(ARCHIVE_EXTRACT INPUT ${VELMORA_DEPS_DIR}/${VELMORA_LIBICONV_ARCHIVE}
    DESTINATION ${libiconv_dir})
endif()

add_library(velmora_libiconv STATIC
  ${libiconv_dir}/package/deps/libiconv/lib/iconv.c
  ${libiconv_dir}/package/support/localcharset.c)
target_include_directories(velmora_libiconv SYSTEM PUBLIC ${libiconv_dir}/package/support)
target_compile_definitions(velmora_libiconv PRIVATE ENABLE_EXTRA=1 ICONV_CONST=const)
target_compile_options(velmora_libiconv PRIVATE -w -O2)
target_link_libraries(velmora_libiconv PRIVATE velmora_hardening)
set_target_properties(velmora_libiconv PROPERTIES C_VISIBILITY_PRESET hidden)
