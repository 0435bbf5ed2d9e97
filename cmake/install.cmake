# Installation: the library, its header, a CMake package (find_package(korvimg),
# target korvimg::korvimg), a pkg-config file, and the program when it is built.
#   cmake --install build/linux --prefix /usr/local
include(CMakePackageConfigHelpers)

set(KORVIMG_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/korvimg)

install(TARGETS korvimg EXPORT korvimgTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} NAMELINK_COMPONENT Development
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

# The pkg-config file finds the prefix from where it lies, so that the tree can be
# installed with --prefix or DESTDIR, or moved, after configuring.
set(KORVIMG_PC_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}" OR IS_ABSOLUTE "${CMAKE_INSTALL_INCLUDEDIR}")
  message(FATAL_ERROR "korvimg installs below its prefix: give CMAKE_INSTALL_LIBDIR and "
                      "CMAKE_INSTALL_INCLUDEDIR as paths relative to it")
endif()
file(RELATIVE_PATH KORVIMG_PC_TO_PREFIX /prefix/${KORVIMG_PC_DIR} /prefix)
string(REGEX REPLACE "/$" "" KORVIMG_PC_TO_PREFIX "${KORVIMG_PC_TO_PREFIX}")
configure_file(${PROJECT_SOURCE_DIR}/cmake/korvimg.pc.in ${PROJECT_BINARY_DIR}/generated/korvimg.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/generated/korvimg.pc DESTINATION ${KORVIMG_PC_DIR} COMPONENT Development)

if(TARGET korvimg-cli)
  # The program finds the library beside it, wherever the tree is installed.
  if(NOT WIN32)
    file(RELATIVE_PATH bin_to_lib /prefix/${CMAKE_INSTALL_BINDIR} /prefix/${CMAKE_INSTALL_LIBDIR})
    set_target_properties(korvimg-cli PROPERTIES INSTALL_RPATH "$ORIGIN/${bin_to_lib}")
  endif()
  install(TARGETS korvimg-cli RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
