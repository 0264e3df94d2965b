# Makes the files of a sample again and compares them byte by byte, then has `zelk scan` read the stream and compares
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

run(${WORK}/${SAMPLE}.output ${MAKE} ${ARGUMENTS} ${WORK}/${SAMPLE}.ts ${WORK}/${SAMPLE}.expected.json)
compare(${WORK}/${SAMPLE}.ts ${SAMPLES}/${SAMPLE}.ts)
compare(${WORK}/${SAMPLE}.expected.json ${SAMPLES}/${SAMPLE}.expected.json)

run(${WORK}/${SAMPLE}.json ${ZELK} scan --json ${SAMPLES}/${SAMPLE}.ts)
compare(${WORK}/${SAMPLE}.json ${SAMPLES}/${SAMPLE}.expected.json)
