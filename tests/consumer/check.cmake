# Script run by CTest: install the build tree into a scratch prefix, then
# configure, build and run an outside project that uses find_package(ut).
file(REMOVE_RECURSE "${UT_WORK_DIR}")
set(prefix "${UT_WORK_DIR}/prefix")
execute_process(COMMAND ${CMAKE_COMMAND} --install "${UT_BINARY_DIR}" --prefix "${prefix}"
  RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "install failed: ${rc}")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} -S "${UT_CONSUMER_SOURCE}" -B "${UT_WORK_DIR}/build"
  -G "${UT_GENERATOR}" -DCMAKE_PREFIX_PATH=${prefix} RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "configuring the consumer failed: ${rc}")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} --build "${UT_WORK_DIR}/build" RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "building the consumer failed: ${rc}")
endif()
execute_process(COMMAND "${UT_WORK_DIR}/build/consumer" "${UT_WORK_DIR}/store.db"
  RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "consumer failed (${rc}): ${out}${err}")
endif()
message(STATUS "consumer: ${out}")
