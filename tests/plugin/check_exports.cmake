# A shared library exports the functions EXPORTS, commas between them and in the order of their
# names, and nothing else, no unique symbols either.
execute_process(COMMAND ${NM} -D --defined-only ${LIBRARY}
  OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "[A-Za-z] [A-Za-z_0-9.@]+\n" exports "${symbols}")
list(TRANSFORM exports STRIP)
list(SORT exports)
string(REPLACE "," ";" expected "${EXPORTS}")
list(TRANSFORM expected PREPEND "T ")
if(NOT exports STREQUAL expected)
  message(FATAL_ERROR "exports: ${exports}")
endif()
