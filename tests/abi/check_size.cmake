# cmake -DSTRIP=strip -DLIBRARY=libmurn-zelk.so -DWORK=stripped-copy -DLIMIT=bytes -P check_size.cmake
# The library without its symbols stays under LIMIT bytes: receivers have small flash memories.
execute_process(COMMAND ${STRIP} --strip-unneeded -o ${WORK} ${LIBRARY} COMMAND_ERROR_IS_FATAL ANY)
file(SIZE ${WORK} size)
math(EXPR kibibytes "(${size} + 1023) / 1024")
math(EXPR limit "${LIMIT} / 1024")
message(STATUS "stripped shared object: ${size} bytes (${kibibytes} KiB) of ${limit} KiB")
if(NOT size LESS LIMIT)
  message(FATAL_ERROR "the stripped shared object has ${size} bytes: it is to stay under ${LIMIT}")
endif()
