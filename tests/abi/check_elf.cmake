# cmake -DREADELF=readelf -DLIBRARY=libmurn-zelk.so [-DGUARDED_OBJECTS=LIST] [-DALSO_NEEDED=libx.so] -P check_elf.cmake
# What the shared object asks of the loader and leaves writable: the stack is not executable, code and constants need no
# relocation, all that is relocated is bound at load time and write-protected then, nothing but the runtime libraries is
# needed, and no table or state of ours is writable.
execute_process(COMMAND ${READELF} --program-headers --dynamic --sections --wide ${LIBRARY}
                OUTPUT_VARIABLE listing COMMAND_ERROR_IS_FATAL ANY)
set(defects "")

if(NOT listing MATCHES "GNU_STACK +[x0-9a-f ]+ RW +0x")
  list(APPEND defects "the stack is executable, or nothing says that it is not")
endif()
if(listing MATCHES "TEXTREL")
  list(APPEND defects "code is relocated (TEXTREL)")
endif()
if(listing MATCHES "LOAD +[x0-9a-f ]+ RWE")
  list(APPEND defects "a segment is writable and executable")
endif()
if(NOT listing MATCHES "GNU_RELRO")
  list(APPEND defects "relocated data stays writable (no RELRO)")
endif()
if(NOT listing MATCHES "\\(FLAGS\\) +[A-Z_ ]*BIND_NOW" AND NOT listing MATCHES "\\(FLAGS_1\\) +Flags: [A-Z_ ]*NOW")
  list(APPEND defects "symbols are bound late (no -z now)")
endif()
# The objects, for the mark of the whole is lost to start files of the C library that lack it.
foreach(object IN LISTS GUARDED_OBJECTS)
  execute_process(COMMAND ${READELF} --notes --wide ${object} OUTPUT_VARIABLE notes COMMAND_ERROR_IS_FATAL ANY)
  if(NOT notes MATCHES "x86 feature: IBT, SHSTK" AND NOT notes MATCHES "AArch64 feature: BTI, PAC")
    list(APPEND defects "no landing pads for indirect jumps: ${object}")
  endif()
endforeach()
# A library that needs another finds it in the build tree by a path, which the installation takes out.
if(listing MATCHES "R(UN)?PATH" AND NOT ALSO_NEEDED)
  list(APPEND defects "a search path is built in")
endif()

# The name that programs are linked with: that of the file, with the major version alone.
get_filename_component(file ${LIBRARY} NAME)
string(REGEX MATCH "^lib[-a-z]+\\.so\\.[0-9]+" wanted ${file})
if(NOT listing MATCHES "\\(SONAME\\)[^\n]*\\[${wanted}\\]" OR NOT wanted)
  list(APPEND defects "the SONAME is not the major version's of ${file}")
endif()

string(REGEX MATCHALL "\\(NEEDED\\)[^\n]*" needed "${listing}")
foreach(line IN LISTS needed)
  if(NOT line MATCHES "\\[(libc|libm|libstdc\\+\\+|libgcc_s|ld[-0-9a-z_]*)\\.so\\.[0-9]+\\]"
     AND NOT (ALSO_NEEDED AND line MATCHES "\\[${ALSO_NEEDED}\\.[0-9]+\\]"))
    list(APPEND defects "needs more than the runtime: ${line}")
  endif()
endforeach()

# Sections that are writable: the loader's own, the exception tables where a machine relocates them, and what compiler
# and runtime put into every shared object: a handle, a flag, their alignment, in .data and .bss.
set(ofLoader "\\.(init_array|fini_array|dynamic|got|got\\.plt|data\\.rel\\.ro|gcc_except_table)")
set(mostBytesOfRuntime 32)
set(bytes 0)
string(REGEX MATCHALL "\\] \\.[^\n]* WA[A-Zp]* [^\n]*" writable "${listing}")
foreach(line IN LISTS writable)
  string(REGEX MATCH "^\\] (\\.[^ ]+) +[A-Z_]+ +[0-9a-f]+ [0-9a-f]+ ([0-9a-f]+)" parts "${line}")
  set(name ${CMAKE_MATCH_1})
  math(EXPR size "0x${CMAKE_MATCH_2}")
  if(name MATCHES "^\\.s?(data|bss)$")
    math(EXPR bytes "${bytes} + ${size}")
  elseif(NOT name MATCHES "^${ofLoader}$")
    list(APPEND defects "writable section ${name} of ${size} bytes")
  elseif(name STREQUAL ".data.rel.ro" AND size GREATER 64)
    list(APPEND defects "a table of ${size} bytes holds pointers (.data.rel.ro)")
  endif()
endforeach()
if(bytes GREATER mostBytesOfRuntime)
  list(APPEND defects "writable data of ${bytes} bytes, the runtime needs no more than ${mostBytesOfRuntime}")
endif()

if(defects)
  list(JOIN defects "\n  " defects)
  message(FATAL_ERROR "${LIBRARY}:\n  ${defects}")
endif()
