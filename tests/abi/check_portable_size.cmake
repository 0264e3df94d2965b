# cmake -DSOURCE=root -DBUILD=directory -DGENERATOR=... -DC=... -DCXX=... -DHARDENED=ON -DSTRIP=strip -DLIMIT=bytes
#       -P check_portable_size.cmake
# Builds the library as a receiver's maker does, without vector kernels, and checks its size.
function(run)
  execute_process(COMMAND ${ARGV} OUTPUT_VARIABLE output ERROR_VARIABLE output RESULT_VARIABLE status)
  if(status)
    message(FATAL_ERROR "${output}")
  endif()
endfunction()

run(${CMAKE_COMMAND} -S ${SOURCE} -B ${BUILD} -G ${GENERATOR} -DCMAKE_BUILD_TYPE=Release -DCMAKE_C_COMPILER=${C}
    -DCMAKE_CXX_COMPILER=${CXX} -DZELK_HARDENED=${HARDENED} -DZELK_KERNELS=portable -DBUILD_TESTING=OFF
    -DZELK_BUILD_TOOLS=OFF)
run(${CMAKE_COMMAND} --build ${BUILD} --target murn-zelk)

set(LIBRARY ${BUILD}/src/libmurn-zelk.so)
set(WORK ${BUILD}/libmurn-zelk.stripped)
include(${CMAKE_CURRENT_LIST_DIR}/check_size.cmake)
