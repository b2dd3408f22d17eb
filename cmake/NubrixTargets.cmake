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

# nubrix_plugin(TARGET OUTPUT_NAME SOURCES... [LINK ...] [FOLDER lib/...]): a plug-in as the library
# loads it. It sees include/ and drivers/ only and does not link the library.
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
