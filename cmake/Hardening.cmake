# What hardens a build against faults that its tests missed, as far as compiler and machine have it: guarded stacks,
# checked calls of the C library, landing pads for indirect jumps (Intel CET, Arm BTI).
include(CheckCXXCompilerFlag)
foreach(option IN ITEMS -fstack-protector-strong -D_FORTIFY_SOURCE=2 -fcf-protection=full -mbranch-protection=standard)
  string(MAKE_C_IDENTIFIER "ZELK_HAS${option}" has)
  check_cxx_compiler_flag(${option} ${has})
  if(${has})
    add_compile_options(${option})
  endif()
endforeach()
