# The shared library exports its four functions and nothing else, no unique symbols either.
execute_process(COMMAND ${NM} -D --defined-only ${LIBRARY}
  OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "[A-Za-z] [A-Za-z_0-9.@]+\n" exports "${symbols}")
list(TRANSFORM exports STRIP)
list(SORT exports)
set(expected "T GetDataProcessorObjectID" "T GetFactory" "T GetObjectCount" "T Ordinal_3")
if(NOT exports STREQUAL expected)
  message(FATAL_ERROR "exports: ${exports}")
endif()
