cmake_minimum_required(VERSION 3.25)
# Writes the header OUTPUT with a number that follows from all files of the folder MATCHER: a
# compiled list is used only by a library whose sources are those that it was made with, so that no
# change of the form, or of what lists are read as, can be forgotten.
file(GLOB files ${MATCHER}/*.cpp ${MATCHER}/*.h)
list(SORT files)
set(all "")
foreach(file IN LISTS files)
  file(SHA256 ${file} hash)
  get_filename_component(name ${file} NAME)
  string(APPEND all "${name} ${hash}\n")
endforeach()
string(SHA256 all "${all}")
string(SUBSTRING ${all} 0 16 version)
file(CONFIGURE OUTPUT ${OUTPUT} CONTENT "#pragma once

#include <cstdint>

namespace velmora::adblock {

/// Another one for every change of the matcher's sources.
inline constexpr std::uint64_t MATCHER_VERSION = 0x@version@U;

}  // namespace velmora::adblock
" @ONLY)
