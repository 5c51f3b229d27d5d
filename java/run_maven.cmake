cmake_minimum_required(VERSION 3.25)
# Runs Maven with MAVEN_ARGS and "verify", then fails when a test JVM printed
# a -Xcheck:jni complaint: Surefire keeps what the JVM writes straight to its
# standard output in the reports folder's .dumpstream files, not in the log.
file(GLOB old_dumps ${REPORTS}/*.dumpstream)
if(old_dumps)
  file(REMOVE ${old_dumps})
endif()
execute_process(COMMAND ${MAVEN} ${MAVEN_ARGS} verify RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "mvn verify failed (${rc})")
endif()
file(GLOB dumps ${REPORTS}/*.dumpstream)
foreach(f IN LISTS dumps)
  file(STRINGS ${f} complaints REGEX "(WARNING|FATAL ERROR) in native method")
  if(complaints)
    message(FATAL_ERROR "-Xcheck:jni complained (${f}):\n${complaints}")
  endif()
endforeach()
