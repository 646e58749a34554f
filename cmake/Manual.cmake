# The command's manual pages and completions, made from its own help when it has been built.
find_package(Python3 REQUIRED COMPONENTS Interpreter)

set(ONDREL_MANUAL_FOLDER ${PROJECT_BINARY_DIR}/manual)
set(generator ${PROJECT_SOURCE_DIR}/scripts/manual)
file(GLOB generatorFiles CONFIGURE_DEPENDS ${generator}/*.py ${generator}/*.in)
add_custom_command(OUTPUT ${ONDREL_MANUAL_FOLDER}/stamp
  COMMAND Python3::Interpreter -B ${generator}/make-manual.py
    $<TARGET_FILE:ondrel_tool> ${ONDREL_MANUAL_FOLDER} ${PROJECT_VERSION}
  COMMAND ${CMAKE_COMMAND} -E touch ${ONDREL_MANUAL_FOLDER}/stamp
  DEPENDS ondrel_tool ${generatorFiles} ${PROJECT_SOURCE_DIR}/Include/Ondrel/StatusTransition.h
  COMMENT "Writing the manual pages and completions"
  VERBATIM)
add_custom_target(ondrel_manual ALL DEPENDS ${ONDREL_MANUAL_FOLDER}/stamp)
