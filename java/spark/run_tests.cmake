cmake_minimum_required(VERSION 3.25)
# Puts the zynsolver jar this build made into the local Maven repository under
# its coordinates, then builds and tests the Spark module against it.
execute_process(COMMAND ${MAVEN} -q -B -ntp install:install-file -Dfile=${CORE_JAR} -DpomFile=${CORE_POM}
  RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "installing ${CORE_JAR} into the local Maven repository failed (${rc})")
endif()
execute_process(COMMAND ${MAVEN} -B -ntp -f ${SPARK_POM} -Dzyn.build.dir=${BUILD_DIR}
    -Dzynecg.data.dir=${DATA_DIR} -Dzynecg.tool=${TOOL} -Dzynecg.sample.csv=${SAMPLE_CSV} verify
  RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "mvn verify of the Spark module failed (${rc})")
endif()
