cmake_minimum_required(VERSION 3.25)
# Stages a native library of the project for the jar as libNAME.so, with the
# shared libraries it needs that a Java host may lack (Highway, libsoxr,
# libgomp): each copied under the name the loader asks for (libDEP.so), and
# the file NAME.deps listing those names in an order that loads every one
# after what it needs. The C library, libm, the loader and the C++ runtime
# (which every JVM has loaded already) stay the system's.
#   cmake -DLIBRARY=... -DNAME=... -DDEST=... [-DSTRIP=...] -P StageNativeLibrary.cmake
set(system_libraries "^(libc|libm|libdl|librt|libpthread|libstdc\\+\\+|libgcc_s|ld-linux.*|linux-vdso)\\.so")
file(GET_RUNTIME_DEPENDENCIES
  LIBRARIES ${LIBRARY}
  RESOLVED_DEPENDENCIES_VAR needed
  UNRESOLVED_DEPENDENCIES_VAR missing
  PRE_EXCLUDE_REGEXES "${system_libraries}"
  POST_EXCLUDE_REGEXES "/(libc|libm|libdl|librt|libpthread|libstdc\\+\\+|libgcc_s|ld-linux[^/]*)\\.so[^/]*$")
if(missing)
  message(FATAL_ERROR "libraries that ${LIBRARY} needs were not found: ${missing}")
endif()
file(MAKE_DIRECTORY ${DEST})
# Libraries staged by an earlier build that may no longer be needed go first.
if(EXISTS ${DEST}/${NAME}.deps)
  file(STRINGS ${DEST}/${NAME}.deps earlier)
  foreach(name IN LISTS earlier)
    file(REMOVE ${DEST}/lib${name}.so)
  endforeach()
endif()
file(COPY_FILE ${LIBRARY} ${DEST}/lib${NAME}.so ONLY_IF_DIFFERENT)
if(STRIP)
  execute_process(COMMAND ${STRIP} --strip-debug ${DEST}/lib${NAME}.so)
endif()

# name -> how many of the other staged libraries it needs, directly or not
set(order "")
foreach(lib IN LISTS needed)
  get_filename_component(file ${lib} NAME)
  string(REGEX REPLACE "^lib(.*)\\.so.*$" "\\1" name ${file})
  file(COPY_FILE ${lib} ${DEST}/lib${name}.so ONLY_IF_DIFFERENT)
  file(GET_RUNTIME_DEPENDENCIES LIBRARIES ${lib} RESOLVED_DEPENDENCIES_VAR below
    PRE_EXCLUDE_REGEXES "${system_libraries}")
  list(LENGTH below depth)
  string(LENGTH "000${depth}" width)
  math(EXPR cut "${width} - 3")
  string(SUBSTRING "000${depth}" ${cut} 3 padded)
  list(APPEND order "${padded} ${name}")
endforeach()
list(SORT order)
list(TRANSFORM order REPLACE "^[0-9]+ " "")
list(JOIN order "\n" text)
file(WRITE ${DEST}/${NAME}.deps "${text}\n")
