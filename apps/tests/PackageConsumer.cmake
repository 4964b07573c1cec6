# Installs the build into WORK_DIR/prefix and builds the consumer project against it.
cmake_minimum_required(VERSION 3.25)

function(run what)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "${what} failed (${rc})\n${out}\n${err}")
  endif()
  set(last_output "${out}" PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE "${WORK_DIR}")
set(prefix "${WORK_DIR}/prefix")
run("install" ${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${prefix}")
if(NOT EXISTS "${prefix}/include/qor/CoordTransform.h" OR NOT EXISTS "${prefix}/include/qor/export.h")
  message(FATAL_ERROR "the installed prefix lacks the public headers")
endif()

set(flags)
if(EXTRA_FLAGS)
  list(APPEND flags "-DCMAKE_CXX_FLAGS=${EXTRA_FLAGS}" "-DCMAKE_EXE_LINKER_FLAGS=${EXTRA_FLAGS}")
endif()
run("configure consumer" ${CMAKE_COMMAND} -S "${CONSUMER_DIR}" -B "${WORK_DIR}/build" -G "${GENERATOR}"
    "-DCMAKE_PREFIX_PATH=${prefix}" "-DCMAKE_CXX_COMPILER=${CXX_COMPILER}" "-DCMAKE_BUILD_TYPE=${BUILD_TYPE}" ${flags})
run("build consumer" ${CMAKE_COMMAND} --build "${WORK_DIR}/build")
run("run consumer" "${WORK_DIR}/build/app")
if(NOT last_output MATCHES "consumer: nspan = 0.500")
  message(FATAL_ERROR "unexpected consumer output: ${last_output}")
endif()
# The installed tool finds the installed library through its relative run path.
run("installed qor-meridional" "${prefix}/bin/qor-meridional" --help)
message(STATUS "consumer built and ran against ${prefix}")
