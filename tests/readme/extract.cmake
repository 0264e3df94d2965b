# Cuts the N-th example in a language out of README.md: the code fence, and the "text" fence that follows it, which
# holds what the program prints.
function(zelk_readme_example readme language program_out expected_out)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${readme})
  file(READ ${readme} page)
  if(NOT page MATCHES "\n```${language}\n([^`]*)```\n+[^`\n]*\n*```text\n([^`]*)```")
    message(FATAL_ERROR "${readme} has no ${language} example followed by its output")
  endif()
  set(expected "${CMAKE_MATCH_2}")
  file(CONFIGURE OUTPUT ${program_out} CONTENT "${CMAKE_MATCH_1}" @ONLY)
  file(CONFIGURE OUTPUT ${expected_out} CONTENT "${expected}" @ONLY)
endfunction()
