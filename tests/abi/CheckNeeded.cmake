# Makes sure that neither plug-in, DRIVER or LOG, is linked with the library; READELF shows what each
# needs.
foreach(plugin ${DRIVER} ${LOG})
  execute_process(COMMAND ${READELF} -d ${plugin}
                  OUTPUT_VARIABLE dynamic COMMAND_ERROR_IS_FATAL ANY)
  if(NOT dynamic MATCHES "NEEDED.*libstdc")
    message(FATAL_ERROR "cannot read what ${plugin} needs:\n${dynamic}")
  endif()
  if(dynamic MATCHES "libNubrix")
    message(FATAL_ERROR "${plugin} needs the library:\n${dynamic}")
  endif()
endforeach()
