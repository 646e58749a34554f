# The command's manual pages and completions, made from its own help when it has been built, and the
# pages of the public headers.
find_package(Python3 REQUIRED COMPONENTS Interpreter)

set(ONDREL_MANUAL_FOLDER ${PROJECT_BINARY_DIR}/manual)
set(generator ${PROJECT_SOURCE_DIR}/scripts/manual)
file(GLOB generatorFiles CONFIGURE_DEPENDS ${generator}/*.py ${generator}/*.in)
add_custom_command(OUTPUT ${ONDREL_MANUAL_FOLDER}/stamp
  COMMAND Python3::Interpreter -B ${generator}/make-manual.py
    $<TARGET_FILE:ondrel_tool> ${ONDREL_MANUAL_FOLDER} ${PROJECT_VERSION} ${CMAKE_INSTALL_PREFIX}
  COMMAND ${CMAKE_COMMAND} -E touch ${ONDREL_MANUAL_FOLDER}/stamp
  DEPENDS ondrel_tool ${generatorFiles} ${PROJECT_SOURCE_DIR}/Include/Ondrel/StatusTransition.h
    ${PROJECT_SOURCE_DIR}/Docs/command.md ${PROJECT_SOURCE_DIR}/Docs/watch.md ${PROJECT_SOURCE_DIR}/CHANGELOG.md
  COMMENT "Writing the manual pages and completions"
  VERBATIM)
add_custom_target(ondrel_manual ALL DEPENDS ${ONDREL_MANUAL_FOLDER}/stamp)

# The pages of the public headers, from what the reference shows of them.
find_program(ONDREL_DOXYGEN doxygen)
if(NOT ONDREL_DOXYGEN)
  message(STATUS "There is no doxygen: the manual has no pages of the headers")
  return()
endif()
file(GLOB_RECURSE publicHeaders CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/Include/*.h)
file(CONFIGURE OUTPUT ${ONDREL_MANUAL_FOLDER}/Doxyfile @ONLY CONTENT
"@INCLUDE = Docs/Doxyfile
OUTPUT_DIRECTORY = \"@ONDREL_MANUAL_FOLDER@\"
GENERATE_HTML = NO
GENERATE_XML = YES
XML_PROGRAMLISTING = NO
JAVADOC_AUTOBRIEF = NO
WARNINGS = NO
")
add_custom_command(OUTPUT ${ONDREL_MANUAL_FOLDER}/header-stamp
  COMMAND ${CMAKE_COMMAND} -E rm -rf ${ONDREL_MANUAL_FOLDER}/xml
  COMMAND ${ONDREL_DOXYGEN} ${ONDREL_MANUAL_FOLDER}/Doxyfile
  COMMAND Python3::Interpreter -B ${generator}/header_pages.py
    ${ONDREL_MANUAL_FOLDER}/xml ${ONDREL_MANUAL_FOLDER}/man3 ${PROJECT_VERSION}
  COMMAND ${CMAKE_COMMAND} -E touch ${ONDREL_MANUAL_FOLDER}/header-stamp
  DEPENDS ${publicHeaders} ${generatorFiles} ${PROJECT_SOURCE_DIR}/Docs/Doxyfile
    ${PROJECT_SOURCE_DIR}/scripts/reference-filter.py ${PROJECT_SOURCE_DIR}/Docs/base-library.md
    ${PROJECT_SOURCE_DIR}/CHANGELOG.md
  WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
  COMMENT "Writing the manual pages of the headers"
  VERBATIM)
add_custom_target(ondrel_header_manual ALL DEPENDS ${ONDREL_MANUAL_FOLDER}/header-stamp)
