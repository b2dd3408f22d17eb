# The kinds of targets of this project.

# nubrix_folder(NAME [DEPENDS FOLDER...]): the sources of src/NAME as the target nubrix_NAME. The
# folders it may include from are those it names; the test "layering" holds them to it.
function(nubrix_folder name)
  cmake_parse_arguments(arg "" "" "DEPENDS;SOURCES" ${ARGN})
  add_library(nubrix_${name} STATIC ${arg_SOURCES})
  target_include_directories(nubrix_${name} PUBLIC ${PROJECT_SOURCE_DIR}/src
                                                   ${PROJECT_SOURCE_DIR}/include)
  list(TRANSFORM arg_DEPENDS PREPEND nubrix_ OUTPUT_VARIABLE targets)
  target_link_libraries(nubrix_${name} PUBLIC ${targets} Threads::Threads)
  set_property(GLOBAL APPEND PROPERTY NUBRIX_FOLDERS ${name})
  string(REPLACE ";" "," depends "${arg_DEPENDS}")
  set_property(GLOBAL APPEND PROPERTY NUBRIX_FOLDER_RULES "${name}:${depends}")
endfunction()

# nubrix_plugin(TARGET OUTPUT_NAME NAME [DIRECTORY FOLDER] SOURCES... [LINK ...]): a plug-in as the
# library loads it. It sees include/ and drivers/ only and does not link the library.
function(nubrix_plugin target)
  cmake_parse_arguments(arg "" "OUTPUT_NAME;DIRECTORY" "SOURCES;LINK" ${ARGN})
  add_library(${target} MODULE ${arg_SOURCES})
  target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR}/include
                                               ${PROJECT_SOURCE_DIR}/drivers)
  target_link_libraries(${target} PRIVATE Threads::Threads ${arg_LINK})
  set_target_properties(${target} PROPERTIES PREFIX "lib" OUTPUT_NAME ${arg_OUTPUT_NAME})
  if(arg_DIRECTORY)
    set_target_properties(${target} PROPERTIES LIBRARY_OUTPUT_DIRECTORY ${arg_DIRECTORY})
  endif()
endfunction()

# nubrix_installed_plugin(TARGET OUTPUT_NAME NAME [BELOW FOLDER] SOURCES... [LINK ...]): one that is
# installed, into the folder of plug-ins or a FOLDER there. It exports what lib<NAME>.map lists.
function(nubrix_installed_plugin target)
  cmake_parse_arguments(arg "" "OUTPUT_NAME;BELOW" "" ${ARGN})
  set(map ${CMAKE_CURRENT_SOURCE_DIR}/lib${arg_OUTPUT_NAME}.map)
  nubrix_plugin(${target} OUTPUT_NAME ${arg_OUTPUT_NAME} ${arg_UNPARSED_ARGUMENTS}
                DIRECTORY ${PROJECT_BINARY_DIR}/lib/nubrix/${arg_BELOW})
  target_link_options(${target} PRIVATE -Wl,--version-script=${map})
  set_target_properties(${target} PROPERTIES LINK_DEPENDS ${map})
  install(TARGETS ${target} LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/nubrix/${arg_BELOW})
endfunction()
