# Installs the built tree into a fresh prefix and builds and runs a C program that
# uses the library found in each of the ways an application would find it: the CMake
# package, the pkg-config file, and the source tree added as a subdirectory. Also
# runs the installed program, which must find the installed library by itself.
# Variables: BUILD_DIR, SOURCE_DIR, WORK, GENERATOR, C_COMPILER, TOOLCHAIN and
# EMULATOR (empty for a native build), WINDOWS (1 for a Windows build), LIBDIR, BINDIR, LIBRARY_FILE and LINK_FILE
# (the library and what links to it, relative to the prefix), SUFFIX (of programs),
# PROGRAM (1 when the program was built).
cmake_minimum_required(VERSION 3.25)

function(run what)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${what} failed (${status}):\n${out}\n${err}")
  endif()
  set(last_output "${out}" PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE ${WORK})
set(prefix ${WORK}/prefix)
run("installing" ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})

set(expected include/korvimg.h ${LIBRARY_FILE} ${LINK_FILE} ${LIBDIR}/cmake/korvimg/korvimgConfig.cmake
    ${LIBDIR}/cmake/korvimg/korvimgConfigVersion.cmake ${LIBDIR}/pkgconfig/korvimg.pc)
if(PROGRAM)
  list(APPEND expected ${BINDIR}/korvimg${SUFFIX})
endif()
foreach(f IN LISTS expected)
  if(NOT EXISTS ${prefix}/${f})
    message(FATAL_ERROR "the installed tree has no ${f}")
  endif()
endforeach()

if(PROGRAM)
  run("the installed program" ${EMULATOR} ${prefix}/${BINDIR}/korvimg${SUFFIX} --version)
  if(NOT last_output MATCHES "^korvimg [0-9]")
    message(FATAL_ERROR "the installed program printed '${last_output}' for --version")
  endif()
endif()

set(cross "")
if(TOOLCHAIN)
  set(cross -DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN})
endif()
set(ways package pkg-config subdirectory)
if(WINDOWS)
  # The MinGW toolchain roots every library search in its own tree, so pkg-config's
  # -L path to a tree installed elsewhere is not searched; the CMake package is.
  list(REMOVE_ITEM ways pkg-config)
endif()
set(ENV{PKG_CONFIG_PATH} ${prefix}/${LIBDIR}/pkgconfig)
set(ENV{PKG_CONFIG_LIBDIR} ${prefix}/${LIBDIR}/pkgconfig)
# A Windows program finds its DLL through the search path.
set(ENV{WINEPATH} ${prefix}/${BINDIR})
foreach(way IN LISTS ways)
  set(dir ${WORK}/${way})
  run("configuring the user program (${way})" ${CMAKE_COMMAND} -S ${SOURCE_DIR}/tests/package -B ${dir}
      -G ${GENERATOR} -DCMAKE_C_COMPILER=${C_COMPILER} -DCMAKE_BUILD_TYPE=Release ${cross}
      -DCMAKE_PREFIX_PATH=${prefix} -DKORVIMG_FIND=${way} -DKORVIMG_SOURCE_DIR=${SOURCE_DIR})
  run("building the user program (${way})" ${CMAKE_COMMAND} --build ${dir} -j 2)
  run("running the user program (${way})" ${EMULATOR} ${dir}/korvimg_user${SUFFIX})
  message(STATUS "${way}: ${last_output}")
endforeach()
