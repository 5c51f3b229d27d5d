cmake_minimum_required(VERSION 3.25)
# Installs BUILD_DIR into a fresh prefix under WORK_DIR, checks the library's
# SONAME and links, then builds consumer/main.c against the prefix twice, with
# the flags of pkg-config and with find_package(zynecgsolver), and runs both
# programs (no LD_LIBRARY_PATH: they find the library by their run path).
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed (${rc}): ${ARGN}\n${out}${err}")
  endif()
  set(out "${out}" PARENT_SCOPE)
endfunction()

set(prefix ${WORK_DIR}/prefix)
set(libdir ${prefix}/${LIBDIR})
file(REMOVE_RECURSE ${WORK_DIR})
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})

foreach(f include/zynecgsolver/zynecgsolver.h include/zynecgsolver/version.h
    ${LIBDIR}/libzynecgsolver.so.${VERSION} ${LIBDIR}/pkgconfig/zynecgsolver.pc
    ${LIBDIR}/cmake/zynecgsolver/zynecgsolverConfig.cmake)
  if(NOT EXISTS ${prefix}/${f})
    message(FATAL_ERROR "not installed: ${f}")
  endif()
endforeach()
foreach(link libzynecgsolver.so libzynecgsolver.so.1)
  if(NOT IS_SYMLINK ${libdir}/${link})
    message(FATAL_ERROR "${link} is not a link to the library")
  endif()
endforeach()
run(readelf -d ${libdir}/libzynecgsolver.so.${VERSION})
if(NOT out MATCHES "SONAME\\)[^\n]*\\[libzynecgsolver\\.so\\.1\\]")
  message(FATAL_ERROR "SONAME is not libzynecgsolver.so.1:\n${out}")
endif()

# Checks that a program records the SONAME and runs.
function(check_program program how)
  run(readelf -d ${program})
  if(NOT out MATCHES "NEEDED\\)[^\n]*\\[libzynecgsolver\\.so\\.1\\]")
    message(FATAL_ERROR "${how}: the program does not need libzynecgsolver.so.1:\n${out}")
  endif()
  run(${program})
  if(NOT out MATCHES "zynecgsolver ${VERSION} \\(headers ${VERSION}\\): 60 bpm")
    message(FATAL_ERROR "${how}: unexpected output: ${out}")
  endif()
  message(STATUS "${how}: ${out}")
endfunction()

run(${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${libdir}/pkgconfig
  pkg-config --cflags --libs zynecgsolver)
separate_arguments(pc_flags UNIX_COMMAND "${out}")
run(pkg-config --variable=libdir ${libdir}/pkgconfig/zynecgsolver.pc)
string(STRIP "${out}" pc_libdir)
run(${C_COMPILER} ${SOURCE_DIR}/consumer/main.c ${pc_flags} -Wl,-rpath,${pc_libdir}
  -o ${WORK_DIR}/app-pkg-config)
check_program(${WORK_DIR}/app-pkg-config "pkg-config")

run(${CMAKE_COMMAND} -S ${SOURCE_DIR}/consumer -B ${WORK_DIR}/consumer
  -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_C_COMPILER=${C_COMPILER} -DCMAKE_BUILD_TYPE=Release)
run(${CMAKE_COMMAND} --build ${WORK_DIR}/consumer)
check_program(${WORK_DIR}/consumer/app "find_package")
