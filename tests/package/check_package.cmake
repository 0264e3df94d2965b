# Installs the build into a fresh prefix, then builds and runs the outside project twice: by find_package and by
# pkg-config. cmake -DBUILD=... -DSOURCE=... -DWORK=... -DC=... -DCXX=... -DGENERATOR=... -P check_package.cmake
file(REMOVE_RECURSE ${WORK})
set(prefix ${WORK}/prefix)

function(run)
  execute_process(COMMAND ${ARGV} OUTPUT_VARIABLE output ERROR_VARIABLE output RESULT_VARIABLE status)
  if(status)
    list(JOIN ARGV " " command)
    message(FATAL_ERROR "${command}\n${output}")
  endif()
  set(output "${output}" PARENT_SCOPE)
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${prefix})
run(${CMAKE_COMMAND} -S ${SOURCE} -B ${WORK}/cmake -G ${GENERATOR} -DCMAKE_PREFIX_PATH=${prefix}
    -DCMAKE_C_COMPILER=${C} -DCMAKE_CXX_COMPILER=${CXX})
run(${CMAKE_COMMAND} --build ${WORK}/cmake)
run(${WORK}/cmake/outside-c)
run(${WORK}/cmake/outside-cpp)

file(GLOB_RECURSE pc_file ${prefix}/*/murn-zelk.pc)
get_filename_component(pc_dir ${pc_file} DIRECTORY)
get_filename_component(lib_dir ${pc_dir} DIRECTORY)
set(ENV{PKG_CONFIG_PATH} ${pc_dir})
run(pkg-config --define-variable=prefix=${prefix} --cflags --libs murn-zelk)
separate_arguments(flags UNIX_COMMAND "${output}")
run(${C} ${SOURCE}/main.c -o ${WORK}/outside-pc ${flags} -Wl,-rpath,${lib_dir})
run(${WORK}/outside-pc)

# The second library needs the first, which stands beside it.
set(ENV{LD_LIBRARY_PATH} ${lib_dir})
run(${WORK}/cmake/outside-insight)
run(pkg-config --define-variable=prefix=${prefix} --cflags --libs zelk-insight)
separate_arguments(flags UNIX_COMMAND "${output}")
run(${C} ${SOURCE}/insight.c -o ${WORK}/outside-insight-pc ${flags} -Wl,-rpath,${lib_dir})
run(${WORK}/outside-insight-pc)
