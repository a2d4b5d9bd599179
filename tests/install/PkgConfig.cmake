# Compiles the consumer with the flags pkg-config gives for kv2 from the
# installed tree in PREFIX, then runs it.  Skipped without pkg-config.
# Needs PREFIX LIBDIR WORK SOURCE CXX CXX_FLAGS LINKER_FLAGS VERSION DATA.

find_program(PKG_CONFIG NAMES pkg-config pkgconf)
if(NOT PKG_CONFIG)
    message("pkg-config not found: skipped")
    return()
endif()

set(ENV{PKG_CONFIG_PATH} ${PREFIX}/${LIBDIR}/pkgconfig)
# Requires chain: kv2 pulls in ondel and sdif, all at this version.
foreach(lib sdif ondel kv2)
    execute_process(COMMAND ${PKG_CONFIG} --modversion ${lib}
        RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err
        OUTPUT_STRIP_TRAILING_WHITESPACE)
    if(NOT rc EQUAL 0 OR NOT out STREQUAL VERSION)
        message(FATAL_ERROR "pkg-config --modversion ${lib}: status ${rc}, '${out}' ${err}")
    endif()
endforeach()
execute_process(COMMAND ${PKG_CONFIG} --cflags --libs kv2
    RESULT_VARIABLE rc OUTPUT_VARIABLE flags ERROR_VARIABLE err
    OUTPUT_STRIP_TRAILING_WHITESPACE)
if(NOT rc EQUAL 0)
    message(FATAL_ERROR "pkg-config --cflags --libs kv2 failed (${rc}): ${err}")
endif()
foreach(expected "-I${PREFIX}/include/sdif" "-I${PREFIX}/include/ondel" "-I${PREFIX}/include/kv2"
        "-lkv2 -londel -lsdif")
    string(FIND "${flags}" "${expected}" at)
    if(at EQUAL -1)
        message(FATAL_ERROR "pkg-config --cflags --libs kv2 gives '${flags}', without '${expected}'")
    endif()
endforeach()

file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK})
separate_arguments(flags UNIX_COMMAND "${flags}")
separate_arguments(cxxFlags UNIX_COMMAND "${CXX_FLAGS}")
separate_arguments(linkerFlags UNIX_COMMAND "${LINKER_FLAGS}")
execute_process(
    COMMAND ${CXX} -std=c++17 ${cxxFlags} ${SOURCE} -o ${WORK}/consumer ${linkerFlags} ${flags}
    RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc EQUAL 0)
    message(FATAL_ERROR "compiling with pkg-config's flags failed (${rc}):\n${out}\n${err}")
endif()
execute_process(COMMAND ${WORK}/consumer ${DATA}
    RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc EQUAL 0)
    message(FATAL_ERROR "consumer failed (${rc}):\n${out}\n${err}")
endif()
message(STATUS "consumer: ${out}")
