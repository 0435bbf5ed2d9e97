# Installation: the library, its header, a CMake package (find_package(korvimg),
# target korvimg::korvimg), a pkg-config file, and the program when it is built.
#   cmake --install build/linux --prefix /usr/local
# Components: Runtime (the shared library), Development (the header, the link to the
# library or its import library, the CMake and pkg-config files), Program.
include(CMakePackageConfigHelpers)

set(KORVIMG_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/korvimg)

install(TARGETS korvimg EXPORT korvimgTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT Runtime
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Runtime NAMELINK_COMPONENT Development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Development)
install(FILES ${PROJECT_SOURCE_DIR}/include/korvimg.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        COMPONENT Development)

install(EXPORT korvimgTargets NAMESPACE korvimg:: DESTINATION ${KORVIMG_CMAKE_DIR} COMPONENT Development)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/korvimgConfig.cmake.in
  ${PROJECT_BINARY_DIR}/generated/korvimgConfig.cmake INSTALL_DESTINATION ${KORVIMG_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/generated/korvimgConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/generated/korvimgConfig.cmake
              ${PROJECT_BINARY_DIR}/generated/korvimgConfigVersion.cmake
        DESTINATION ${KORVIMG_CMAKE_DIR} COMPONENT Development)

# The pkg-config file names its prefix plainly (pkg-config leaves out the system's own
# directories only when they are written so). The prefix is the one installed to,
# --prefix included, so the file is finished when it is installed.
foreach(kind LIB INCLUDE)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${kind}DIR}")
    set(KORVIMG_PC_${kind}DIR "${CMAKE_INSTALL_${kind}DIR}")
  else()
    set(KORVIMG_PC_${kind}DIR "\${prefix}/${CMAKE_INSTALL_${kind}DIR}")
  endif()
endforeach()
set(KORVIMG_PC_PREFIX "@KORVIMG_PC_PREFIX@")  # filled in when installing
configure_file(${PROJECT_SOURCE_DIR}/cmake/korvimg.pc.in ${PROJECT_BINARY_DIR}/generated/korvimg.pc.in @ONLY)
install(CODE "set(KORVIMG_PC_PREFIX \"\${CMAKE_INSTALL_PREFIX}\")
  configure_file(\"${PROJECT_BINARY_DIR}/generated/korvimg.pc.in\" \"${PROJECT_BINARY_DIR}/generated/korvimg.pc\" @ONLY)"
  COMPONENT Development)
install(FILES ${PROJECT_BINARY_DIR}/generated/korvimg.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
        COMPONENT Development)

if(TARGET korvimg-cli)
  # The program finds the library beside it, wherever the tree is put; a run path the
  # builder gives (CMAKE_INSTALL_RPATH) follows.
  if(NOT WIN32)
    file(RELATIVE_PATH bin_to_lib ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
    set_property(TARGET korvimg-cli PROPERTY INSTALL_RPATH "$ORIGIN/${bin_to_lib}" ${CMAKE_INSTALL_RPATH})
  endif()
  install(TARGETS korvimg-cli RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT Program)
endif()
