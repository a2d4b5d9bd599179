# Configures, builds and runs the consumer project against the installed
# package in PREFIX, with the build's compiler and flags.
# Needs PREFIX WORK SOURCE GENERATOR MAKE_PROGRAM CXX CXX_FLAGS LINKER_FLAGS
# CONFIG VERSION DATA.

file(REMOVE_RECURSE ${WORK})
execute_process(
    COMMAND ${CMAKE_COMMAND} -S ${SOURCE} -B ${WORK} -G ${GENERATOR}
        -DCMAKE_MAKE_PROGRAM=${MAKE_PROGRAM}
        -DCMAKE_CXX_COMPILER=${CXX}
        "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}"
        "-DCMAKE_EXE_LINKER_FLAGS=${LINKER_FLAGS}"
        -DCMAKE_BUILD_TYPE=${CONFIG}
        -DCMAKE_PREFIX_PATH=${PREFIX}
        -DEXPECTED_VERSION=${VERSION}
    RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc EQUAL 0)
    message(FATAL_ERROR "consumer configure failed (${rc}):\n${out}\n${err}")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} --build ${WORK} --config ${CONFIG}
    RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc EQUAL 0)
    message(FATAL_ERROR "consumer build failed (${rc}):\n${out}\n${err}")
endif()

file(GLOB_RECURSE program ${WORK}/consumer ${WORK}/*/consumer)
execute_process(COMMAND ${program} ${DATA}
    RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc EQUAL 0)
    message(FATAL_ERROR "consumer failed (${rc}):\n${out}\n${err}")
endif()
message(STATUS "consumer: ${out}")
