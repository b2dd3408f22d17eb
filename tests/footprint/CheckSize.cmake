# Fails when the stripped LIBRARY has more than LIMIT_KIB. With BUILD, a folder, the library of the
# preset "install" is built there first, by COMPILER.
if(BUILD)
  execute_process(COMMAND ${CMAKE_COMMAND} --preset install -B ${BUILD}
                          -DCMAKE_CXX_COMPILER=${COMPILER} -DNUBRIX_BUILD_DRIVERS=OFF
                          -DNUBRIX_BUILD_TOOLS=OFF
                  COMMAND_ERROR_IS_FATAL ANY)
  execute_process(COMMAND ${CMAKE_COMMAND} --build ${BUILD} --target nubrix --parallel 2
                  COMMAND_ERROR_IS_FATAL ANY)
endif()
get_filename_component(name ${LIBRARY} NAME)
set(stripped ${CMAKE_CURRENT_BINARY_DIR}/stripped_${name})
execute_process(COMMAND ${STRIP} -o ${stripped} ${LIBRARY} COMMAND_ERROR_IS_FATAL ANY)
file(SIZE ${stripped} bytes)
file(REMOVE ${stripped})
math(EXPR kib "(${bytes} + 1023) / 1024")
message(STATUS "${name}: ${kib} KiB of ${LIMIT_KIB}")
if(kib GREATER LIMIT_KIB)
  message(FATAL_ERROR "${name} is larger than its budget")
endif()
