# cmake -DSTRIP=strip -DLIBRARY=libmurn-zelk.so -DWORK=stripped-copy -DLIMIT=kibibytes -P check_size.cmake
# The library without its symbols takes LIMIT KiB at most: receivers have small flash memories.
execute_process(COMMAND ${STRIP} --strip-unneeded -o ${WORK} ${LIBRARY} COMMAND_ERROR_IS_FATAL ANY)
file(SIZE ${WORK} size)
math(EXPR kibibytes "(${size} + 1023) / 1024")
message(STATUS "stripped shared object: ${size} bytes (${kibibytes} KiB) of ${LIMIT} KiB")
if(kibibytes GREATER LIMIT)
  message(FATAL_ERROR "the stripped shared object takes ${kibibytes} KiB: ${LIMIT} are the limit")
endif()
