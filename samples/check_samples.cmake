# Makes the sample files again and compares them byte by byte, then has `zelk scan` read the multiplex and compares
# what it says with the words that went in.

function(run output)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_FILE ${output} ERROR_VARIABLE errors)
  if(NOT status EQUAL 0 OR NOT errors STREQUAL "")
    message(FATAL_ERROR "${ARGN}: status ${status}\n${errors}")
  endif()
endfunction()

function(compare file expected)
  execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files ${file} ${expected} RESULT_VARIABLE differ)
  if(differ)
    message(FATAL_ERROR "${file} differs from ${expected}")
  endif()
endfunction()

run(${WORK}/output ${MAKE} ${ARGUMENTS} ${WORK}/multiplex.ts ${WORK}/multiplex.expected.json)
compare(${WORK}/multiplex.ts ${SAMPLES}/multiplex.ts)
compare(${WORK}/multiplex.expected.json ${SAMPLES}/multiplex.expected.json)

run(${WORK}/scan.json ${ZELK} scan --json ${SAMPLES}/multiplex.ts)
compare(${WORK}/scan.json ${SAMPLES}/multiplex.expected.json)
