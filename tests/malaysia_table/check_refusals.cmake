# A broken file of Malaysian rows stops the build, and the compiler names the file, the line and the reason; those of
# the tree compile. Needs COMPILER, ROOT, WORK. tests/malaysia_rows_test.cpp breaks the files in every other way.
cmake_minimum_required(VERSION 3.25)

function(compile result output)
  foreach(language en ms)
    file(WRITE ${WORK}/malaysia_${language}.tsv.h "R\"rows(${${language}})rows\"\n")
  endforeach()
  execute_process(
    COMMAND ${COMPILER} -std=c++20 -fsyntax-only -I ${WORK} -I ${ROOT}/src -I ${ROOT}/include
            ${ROOT}/src/huffman_malaysia.cpp
    RESULT_VARIABLE status OUTPUT_VARIABLE text ERROR_VARIABLE text)
  set(${result} ${status} PARENT_SCOPE)
  set(${output} "${text}" PARENT_SCOPE)
endfunction()

foreach(language en ms)
  file(READ ${ROOT}/src/tables/data/malaysia_${language}.tsv ${language})
endforeach()
compile(status text)
if(NOT status EQUAL 0)
  message(SEND_ERROR "the files of the tree: ${text}")
endif()

foreach(language en ms)
  set(whole "${${language}}")
  string(REGEX REPLACE "\t[^\t]*$" "" before "${whole}")
  string(REGEX MATCHALL "\n" newlines "${before}")
  list(LENGTH newlines line)
  math(EXPR line "${line} + 1")
  set(${language} "${before} ${whole}") # the last row with a blank for its tab, and all rows once more
  compile(status text)
  set(${language} "${whole}")
  if(status EQUAL 0 OR NOT text MATCHES "malaysia_${language}, [^,]*${line}, [^,>]*RowIsNotCodeTabAndPiece")
    message(SEND_ERROR "malaysia_${language}.tsv, line ${line}: ${text}")
  endif()
endforeach()
