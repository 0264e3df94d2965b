# cmake -DPROGRAM=... -DEXPECTED=file -P check_output.cmake
execute_process(COMMAND ${PROGRAM} OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
file(READ ${EXPECTED} expected)
if(NOT output STREQUAL expected)
  message(FATAL_ERROR "the README says:\n${expected}\nthe program prints:\n${output}")
endif()
