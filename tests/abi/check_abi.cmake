# cmake -DPYTHON=python3 -DLIBRARY=libmurn-zelk.so -DHEADERS=include -DWORK=folder -DRECORD=abi.txt -P check_abi.cmake
# The exported functions with their types, the tables and the records are those of RECORD. What is added there within a
# major version is an addition; nothing that stands there changes.
get_filename_component(name ${RECORD} NAME)
set(found ${WORK}/${name})
set(recorded ${RECORD})
execute_process(COMMAND ${PYTHON} ${CMAKE_CURRENT_LIST_DIR}/list_abi.py ${LIBRARY} ${HEADERS} OUTPUT_FILE ${found}
                COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND diff -u ${recorded} ${found} OUTPUT_VARIABLE difference RESULT_VARIABLE differs)
if(differs)
  message(FATAL_ERROR "the binary interface is not the recorded one:\n${difference}\n"
                      "If this is meant, and the major version is a new one where a line changed: cp ${found} ${recorded}")
endif()
