# Installs the built tree into a fresh prefix and builds and runs a C program that
# uses the library found in each of the ways an application would find it: the
# pkg-config file (through CMake, and through a plain compiler command), then, with the
# tree moved elsewhere, the CMake package and the installed program, and the source
# tree added as a subdirectory of a project built with fast-math.
# Variables: BUILD_DIR, SOURCE_DIR, WORK, GENERATOR, C_COMPILER, C_FLAGS, CXX_COMPILER,
# TOOLCHAIN and EMULATOR (empty for a native build), WINDOWS (1 for a Windows build),
# LIBDIR, BINDIR, INCLUDEDIR, LIBRARY_FILE and LINK_FILE (the library and what links to
# it, relative to the prefix), SUFFIX (of programs), PROGRAM (1 when it was built).
cmake_minimum_required(VERSION 3.25)

function(run what)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${what} failed (${status}):\n${out}\n${err}")
  endif()
  set(last_output "${out}" PARENT_SCOPE)
endfunction()

set(cross "")
if(TOOLCHAIN)
  set(cross -DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN})
endif()
# Configures, builds and runs the user program found the given way in the given tree.
function(use way prefix)
  set(dir ${WORK}/${way})
  run("configuring the user program (${way})" ${CMAKE_COMMAND} -S ${SOURCE_DIR}/tests/package -B ${dir}
      -G ${GENERATOR} -DCMAKE_C_COMPILER=${C_COMPILER} -DCMAKE_CXX_COMPILER=${CXX_COMPILER}
      -DCMAKE_BUILD_TYPE=Release ${cross} -DCMAKE_PREFIX_PATH=${prefix} -DKORVIMG_PREFIX=${prefix}
      -DKORVIMG_FIND=${way} -DKORVIMG_SOURCE_DIR=${SOURCE_DIR})
  run("building the user program (${way})" ${CMAKE_COMMAND} --build ${dir} -j 2)
  run("running the user program (${way})" ${EMULATOR} ${dir}/korvimg_user${SUFFIX})
  message(STATUS "${way}: ${last_output}")
endfunction()

file(REMOVE_RECURSE ${WORK})
set(prefix ${WORK}/prefix)
run("installing" ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})

set(expected ${INCLUDEDIR}/korvimg.h ${LIBRARY_FILE} ${LINK_FILE} ${LIBDIR}/cmake/korvimg/korvimgConfig.cmake
    ${LIBDIR}/cmake/korvimg/korvimgConfigVersion.cmake ${LIBDIR}/pkgconfig/korvimg.pc)
if(PROGRAM)
  list(APPEND expected ${BINDIR}/korvimg${SUFFIX})
endif()
foreach(f IN LISTS expected)
  if(NOT EXISTS ${prefix}/${f})
    message(FATAL_ERROR "the installed tree has no ${f}")
  endif()
endforeach()

# pkg-config, searching the installed tree only. The MinGW toolchain file roots every
# library search in its own tree, so there pkg-config's -L path to a tree installed
# elsewhere is not searched; the CMake package is.
set(ENV{PKG_CONFIG_PATH} ${prefix}/${LIBDIR}/pkgconfig)
set(ENV{PKG_CONFIG_LIBDIR} ${prefix}/${LIBDIR}/pkgconfig)
if(NOT WINDOWS)
  use(pkg-config ${prefix})
  # As the README shows it: cc app.c $(pkg-config --cflags --libs korvimg).
  run("pkg-config" pkg-config --cflags --libs korvimg)
  separate_arguments(flags UNIX_COMMAND "${last_output}")
  separate_arguments(c_flags UNIX_COMMAND "${C_FLAGS}")
  file(MAKE_DIRECTORY ${WORK}/cc)
  run("compiling with pkg-config's flags" ${C_COMPILER} ${c_flags} -std=c99 -Wall -Wextra -pedantic -Werror
      ${SOURCE_DIR}/tests/package/user.c ${flags} -o ${WORK}/cc/korvimg_user)
  run("running the program compiled with pkg-config's flags" ${CMAKE_COMMAND} -E env
      LD_LIBRARY_PATH=${prefix}/${LIBDIR} ${EMULATOR} ${WORK}/cc/korvimg_user)
  message(STATUS "cc with pkg-config: ${last_output}")
endif()

# The rest from the tree moved elsewhere: nothing may depend on where it was installed.
set(moved ${WORK}/moved)
file(RENAME ${prefix} ${moved})
if(PROGRAM)
  run("the installed program" ${EMULATOR} ${moved}/${BINDIR}/korvimg${SUFFIX} --version)
  if(NOT last_output MATCHES "^korvimg [0-9]")
    message(FATAL_ERROR "the installed program printed '${last_output}' for --version")
  endif()
  if(NOT EMULATOR AND NOT WINDOWS)
    run("ldd" ldd ${moved}/${BINDIR}/korvimg)
    if(NOT last_output MATCHES "libkorvimg\\.so\\.[0-9]+ => ${moved}/")
      message(FATAL_ERROR "the installed program does not load the library beside it:\n${last_output}")
    endif()
  endif()
endif()
# A Windows program finds an installed DLL through the search path.
set(ENV{WINEPATH} ${moved}/${BINDIR})
use(package ${moved})
# A version of another major number is refused.
execute_process(COMMAND ${CMAKE_COMMAND} -S ${SOURCE_DIR}/tests/package -B ${WORK}/package-1.0 -G ${GENERATOR}
                -DCMAKE_C_COMPILER=${C_COMPILER} ${cross} -DCMAKE_PREFIX_PATH=${moved} -DKORVIMG_WANT=1.0
                RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(status EQUAL 0 OR NOT err MATCHES "korvimg.*1\\.0")
  message(FATAL_ERROR "find_package(korvimg 1.0) was not refused (${status}):\n${err}")
endif()

# The subdirectory's own DLL lies beside the program, found before any other.
unset(ENV{WINEPATH})
use(subdirectory "")
