# Runs PROGRAM and fails unless it exits with 0 and prints exactly the contents of EXPECTED.
execute_process(COMMAND ${PROGRAM} OUTPUT_VARIABLE output RESULT_VARIABLE status)
file(READ ${EXPECTED} expected)
if(NOT status EQUAL 0)
    message(FATAL_ERROR "${PROGRAM} exited with ${status}")
endif()
if(NOT output STREQUAL expected)
    message(FATAL_ERROR "${PROGRAM} printed\n${output}\ninstead of what README.md shows:\n${expected}")
endif()
