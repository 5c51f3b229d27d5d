# libzynecgrecording.so: the whole-recording analysis for Java (package
# com.zyn.zynsolver.recording). A JNI library of its own, so that the C
# library libzynecgsolver.so keeps needing nothing but the C++ runtime. It
# holds the whole-recording library and the analysis core, with libedf linked
# in statically and hidden; libsoxr (Debian ships no static archive) stays a
# shared dependency that the jar carries beside it.
find_library(ZYN_EDF_STATIC NAMES libedf.a)
add_library(zynecgrecording SHARED
  ${CMAKE_SOURCE_DIR}/src/jni/recording_jni.cpp
  ${CMAKE_SOURCE_DIR}/src/jni/recording_results.cpp)
target_include_directories(zynecgrecording PRIVATE ${CMAKE_SOURCE_DIR}/src/jni)
target_compile_definitions(zynecgrecording PRIVATE ZYN_RECORDING_VERSION="${PROJECT_VERSION}")
if(ZYN_EDF_STATIC)
  # Placed before the shared libedf that the recording library names, the
  # archive satisfies every EDF symbol and --as-needed drops the shared one.
  target_link_libraries(zynecgrecording PRIVATE zynrecording ${ZYN_EDF_STATIC})
else()
  target_link_libraries(zynecgrecording PRIVATE zynrecording)
endif()
target_link_libraries(zynecgrecording PRIVATE zyn_flags zyn_sanitizers zynsolver_native_headers)
# The C++ runtime goes in too, hidden, so that a worker's JVM needs none (the
# sanitizer runtimes want the shared one).
set(zyn_static_runtime "")
if(NOT ZYN_SANITIZE AND NOT ZYN_TSAN)
  set(zyn_static_runtime -static-libstdc++ -static-libgcc)
endif()
target_link_options(zynecgrecording PRIVATE
  -Wl,--as-needed -Wl,--exclude-libs,ALL -Wl,--no-undefined
  ${zyn_static_runtime}
  -Wl,--version-script=${CMAKE_SOURCE_DIR}/src/jni/recording_exports.map)
set_target_properties(zynecgrecording PROPERTIES
  LINK_DEPENDS ${CMAKE_SOURCE_DIR}/src/jni/recording_exports.map
  BUILD_RPATH "$ORIGIN" INSTALL_RPATH "$ORIGIN")
add_dependencies(zynecgrecording zynsolver_jar)

# Staged beside libzynecgsolver.so in the jar's platform folder, with the
# shared libraries it needs and their load order.
zyn_stage_native_library(zynecgrecording)
