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

# The same program built with nothing but the installed pkg-config file.
find_program(PKG_CONFIG pkg-config REQUIRED)
file(GLOB_RECURSE pc "${prefix}/*/ut.pc")
if(NOT pc)
  message(FATAL_ERROR "no ut.pc installed under ${prefix}")
endif()
get_filename_component(pcdir "${pc}" DIRECTORY)
execute_process(COMMAND ${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${pcdir} ${PKG_CONFIG} --cflags --libs ut
  RESULT_VARIABLE rc OUTPUT_VARIABLE flags ERROR_VARIABLE err OUTPUT_STRIP_TRAILING_WHITESPACE)
if(rc)
  message(FATAL_ERROR "pkg-config ut failed (${rc}): ${err}")
endif()
separate_arguments(flags UNIX_COMMAND "${flags}")
execute_process(COMMAND c++ "${UT_CONSUMER_SOURCE}/main.cpp" -o "${UT_WORK_DIR}/consumer-pc" ${flags}
  RESULT_VARIABLE rc ERROR_VARIABLE err)
if(rc)
  message(FATAL_ERROR "building the consumer with pkg-config flags failed (${rc}): ${err}")
endif()
file(GLOB_RECURSE libut "${prefix}/*/libut.so")
get_filename_component(libdir "${libut}" DIRECTORY)
execute_process(COMMAND ${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${libdir} "${UT_WORK_DIR}/consumer-pc"
  RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc EQUAL 0 OR NOT out STREQUAL "linked\n")
  message(FATAL_ERROR "consumer built with pkg-config failed (${rc}): ${out}${err}")
endif()
message(STATUS "consumer (pkg-config): ${out}")
