# What `cmake --install` lays down for developers: libraries, headers, CMake package and pkg-config file.
include(CMakePackageConfigHelpers)

install(TARGETS murn-zelk zelk-insight EXPORT murn-zelkTargets)
install(FILES include/zelk.h include/zelk.hpp include/zelk_insight.h TYPE INCLUDE)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/murn-zelk)
install(EXPORT murn-zelkTargets NAMESPACE zelk:: DESTINATION ${package_dir})
configure_package_config_file(cmake/murn-zelkConfig.cmake.in ${CMAKE_CURRENT_BINARY_DIR}/murn-zelkConfig.cmake
                              INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/murn-zelkConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/murn-zelkConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/murn-zelkConfigVersion.cmake
        DESTINATION ${package_dir})

# An absolute directory stands as it is; a relative one moves with the prefix.
foreach(dir IN ITEMS includedir libdir)
  string(TOUPPER ${dir} variable)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${variable}}")
    set(pc_${dir} "${CMAKE_INSTALL_${variable}}")
  else()
    set(pc_${dir} "\${prefix}/${CMAKE_INSTALL_${variable}}")
  endif()
endforeach()
foreach(name IN ITEMS murn-zelk zelk-insight)
  configure_file(cmake/${name}.pc.in ${name}.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()
