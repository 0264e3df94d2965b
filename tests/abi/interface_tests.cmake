# zelk_interface_tests(LIBRARY PREFIX FOLDER KIBIBYTES [NEEDS library ...] [GUARDED objects ...])
#
# Holds the interface of a shared library: the names that it exports are those of its exports.txt, its header is C11 and
# C++17, its records are those of abi.txt, the shared object asks nothing more of the loader than it should, and it is
# no larger than so many KiB without its symbols. header_c11.c, header_cpp17.cpp and abi.txt lie in FOLDER. The tests
# are named PREFIXexports, PREFIXheader_c11 and so on. Those that a release build runs are labelled.
function(zelk_interface_tests library prefix folder kibibytes)
  cmake_parse_arguments(PARSE_ARGV 4 argument "" "" "NEEDS;GUARDED")
  get_target_property(sources ${library} SOURCE_DIR)
  set(checks ${PROJECT_SOURCE_DIR}/tests/abi)
  set(file $<TARGET_FILE:${library}>)

  add_test(NAME ${prefix}exports
    COMMAND ${CMAKE_COMMAND} -DNM=${CMAKE_NM} -DLIBRARY=${file} -DEXPORTS=${sources}/exports.txt
            -P ${checks}/check_exports.cmake)
  set(release_tests ${prefix}exports)

  add_executable(${prefix}header_c11 ${folder}/header_c11.c)
  add_executable(${prefix}header_cpp17 ${folder}/header_cpp17.cpp)
  set_target_properties(${prefix}header_cpp17 PROPERTIES CXX_STANDARD 17)
  foreach(name IN ITEMS ${prefix}header_c11 ${prefix}header_cpp17)
    target_link_libraries(${name} PRIVATE zelk::${library} zelk-warnings)
    add_test(NAME ${name} COMMAND ${name})
    list(APPEND release_tests ${name})
    set_property(GLOBAL APPEND PROPERTY ZELK_RELEASE_PROGRAMS ${name})
  endforeach()

  if(NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize|-fcoverage")
    list(JOIN argument_NEEDS "|" needs)
    if(needs)
      set(needs "lib(${needs}).so")
    endif()
    add_test(NAME ${prefix}elf
      COMMAND ${CMAKE_COMMAND} -DREADELF=${CMAKE_READELF} -DLIBRARY=${file} "-DALSO_NEEDED=${needs}"
              "-DGUARDED_OBJECTS=${argument_GUARDED}" -P ${checks}/check_elf.cmake)
    list(APPEND release_tests ${prefix}elf)
    # The pages of other machines may be larger, and leave more unused.
    if(CMAKE_BUILD_TYPE STREQUAL "Release" AND NOT CMAKE_CROSSCOMPILING)
      add_test(NAME ${prefix}size
        COMMAND ${CMAKE_COMMAND} -DSTRIP=${CMAKE_STRIP} -DLIBRARY=${file}
                -DWORK=${CMAKE_CURRENT_BINARY_DIR}/${library}.stripped -DLIMIT=${kibibytes}
                -P ${checks}/check_size.cmake)
      list(APPEND release_tests ${prefix}size)
    endif()
  endif()
  set_tests_properties(${release_tests} PROPERTIES LABELS release)

  # The record is of one machine and one compiler's debug information, which the sanitizer build has.
  find_program(ABIDW abidw)
  find_package(Python3 COMPONENTS Interpreter)
  if(ABIDW AND Python3_FOUND AND CMAKE_BUILD_TYPE STREQUAL "Debug" AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU"
     AND CMAKE_SYSTEM_PROCESSOR STREQUAL "x86_64" AND NOT CMAKE_CROSSCOMPILING)
    add_test(NAME ${prefix}abi
      COMMAND ${CMAKE_COMMAND} -DPYTHON=${Python3_EXECUTABLE} -DLIBRARY=${file}
              -DHEADERS=${PROJECT_SOURCE_DIR}/include -DWORK=${CMAKE_CURRENT_BINARY_DIR} -DRECORD=${folder}/abi.txt
              -P ${checks}/check_abi.cmake)
  endif()
endfunction()
