# 32-bit Linux builds run their tests natively where the kernel runs 32-bit x86
# programs. Some kernels are built without that (a 32-bit program then fails with
# "Exec format error"); there the tests run under the user-mode emulator qemu-i386,
# which executes the same binaries, SSE2 and AVX2 paths included.
function(korvimg_choose_32bit_runner)
  if(NOT CMAKE_CROSSCOMPILING OR NOT CMAKE_SYSTEM_NAME STREQUAL "Linux" OR NOT CMAKE_SIZEOF_VOID_P EQUAL 4
     OR CMAKE_CROSSCOMPILING_EMULATOR)
    return()
  endif()
  set(dir ${PROJECT_BINARY_DIR}/run32-probe)
  file(WRITE ${dir}/probe.c "int main(void) { return 0; }\n")
  try_compile(built ${dir}/build SOURCES ${dir}/probe.c COPY_FILE ${dir}/probe)
  if(NOT built)
    message(FATAL_ERROR "cannot build a 32-bit x86 program: is g++-multilib installed?")
  endif()
  execute_process(COMMAND ${dir}/probe RESULT_VARIABLE native OUTPUT_QUIET ERROR_QUIET)
  if(native STREQUAL "0")
    message(STATUS "32-bit tests run natively")
    return()
  endif()
  find_program(KORVIMG_QEMU_I386 qemu-i386)
  if(NOT KORVIMG_QEMU_I386)
    message(FATAL_ERROR "this kernel does not run 32-bit x86 programs (${native}) and qemu-i386 is missing: "
                        "install the Debian package qemu-user (scripts/install-deps.sh does)")
  endif()
  message(STATUS "32-bit tests run under ${KORVIMG_QEMU_I386}: this kernel does not run them (${native})")
  set(CMAKE_CROSSCOMPILING_EMULATOR ${KORVIMG_QEMU_I386} PARENT_SCOPE)
endfunction()
korvimg_choose_32bit_runner()
