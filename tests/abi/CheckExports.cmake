# Compares what LIBRARY exports with the names in LIST; NM is the symbol lister.
cmake_minimum_required(VERSION 3.25)

execute_process(COMMAND ${NM} -D --defined-only ${LIBRARY}
                OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
string(REGEX REPLACE "[^\n]* ([^ \n]+)\n" "\\1;" exported "${symbols}")
list(REMOVE_ITEM exported "")
file(STRINGS ${LIST} expected)
if(NOT expected)
  message(FATAL_ERROR "${LIST} names nothing")
endif()

set(added ${exported})
list(REMOVE_ITEM added ${expected})
set(missing ${expected})
list(REMOVE_ITEM missing ${exported})
if(added OR missing)
  message(FATAL_ERROR "exported and not listed: ${added}\nlisted and not exported: ${missing}")
endif()
