# What `cmake --install` lays down for developers: libraries, headers, CMake package and pkg-config file.
include(CMakePackageConfigHelpers)

install(TARGETS murn-zelk zelk-insight zelk-arrow EXPORT murn-zelkTargets)
install(FILES include/zelk.h include/zelk.hpp include/zelk_insight.h include/zelk_arrow.h TYPE INCLUDE)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/murn-zelk)
install(EXPORT murn-zelkTargets NAMESPACE zelk:: DESTINATION ${package_dir})
configure_package_config_file(cmake/murn-zelkConfig.cmake.in ${CMAKE_CURRENT_BINARY_DIR}/murn-zelkConfig.cmake
                              INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/murn-zelkConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/murn-zelkConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/murn-zelkConfigVersion.cmake
        DESTINATION ${package_dir})

# A relative directory moves with the prefix, which is found from the place of the pkg-config file itself; an absolute
# one stands as it is.
set(pc_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  set(pc_prefix "${CMAKE_INSTALL_PREFIX}")
else()
  file(RELATIVE_PATH up /prefix/${pc_dir} /prefix)
  string(REGEX REPLACE "/$" "" up "${up}")
  set(pc_prefix "\${pcfiledir}/${up}")
endif()
foreach(dir IN ITEMS includedir libdir)
  string(TOUPPER ${dir} variable)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${variable}}")
    set(pc_${dir} "${CMAKE_INSTALL_${variable}}")
  else()
    set(pc_${dir} "\${prefix}/${CMAKE_INSTALL_${variable}}")
  endif()
endforeach()
# A shared library brings the C++ library along; who links a static one from C has to name it.
set(pc_libraries "")
if(zelk_library_type STREQUAL "STATIC")
  set(libraries ${CMAKE_CXX_IMPLICIT_LINK_LIBRARIES})
  list(REMOVE_ITEM libraries ${CMAKE_C_IMPLICIT_LINK_LIBRARIES})
  list(TRANSFORM libraries PREPEND " -l")
  list(JOIN libraries "" pc_libraries)
endif()
foreach(name IN ITEMS murn-zelk zelk-insight zelk-arrow)
  configure_file(cmake/${name}.pc.in ${name}.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()

install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})

# `cpack` makes a tar.gz of the same; the packages of distributions stand in debian/ and packaging/.
if(PROJECT_IS_TOP_LEVEL)
  set(CPACK_GENERATOR TGZ)
  set(CPACK_STRIP_FILES ON)
  include(CPack)
endif()
