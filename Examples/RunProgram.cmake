# Runs PROGRAM in the new folder FOLDER. Fails unless it ends with 0 and prints the text EXPECTED.
file(REMOVE_RECURSE "${FOLDER}")
file(MAKE_DIRECTORY "${FOLDER}")
execute_process(COMMAND "${PROGRAM}" WORKING_DIRECTORY "${FOLDER}"
  RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE errors)
string(FIND "${output}" "${EXPECTED}" place)
if(NOT result EQUAL 0 OR place EQUAL -1)
  message(FATAL_ERROR "${PROGRAM} ended with ${result}; expected \"${EXPECTED}\" in:\n${output}${errors}")
endif()
