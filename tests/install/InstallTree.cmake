# Installs the build tree into a fresh PREFIX and checks what landed there:
# the program runs from it, every library has its archive and headers, and
# every file that carries the version carries this one.
# Needs BUILD_DIR CONFIG PREFIX LIBDIR MANDIR VERSION BUILT_PROGRAM DATA.

file(REMOVE_RECURSE ${PREFIX})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --config ${CONFIG} --prefix ${PREFIX}
    RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc EQUAL 0)
    message(FATAL_ERROR "cmake --install failed (${rc}):\n${out}\n${err}")
endif()

foreach(file
        bin/sdif2columns bin/sdiftool
        ${LIBDIR}/libsdif.a ${LIBDIR}/libondel.a ${LIBDIR}/libkv2.a
        include/sdif/sdif.h include/sdif/SdifGlobals.h include/sdif/SdifAssert.h
        include/ondel/sdifentity.h include/ondel/selectionset.h
        include/kv2/Kv2Io.h include/kv2/Kv2Sdif.h include/kv2/PartialsContainer.h
        ${LIBDIR}/cmake/sdif2columns/sdif2columnsConfig.cmake
        ${LIBDIR}/cmake/sdif2columns/sdif2columnsConfigVersion.cmake
        ${LIBDIR}/cmake/sdif2columns/sdif2columnsTargets.cmake
        ${LIBDIR}/pkgconfig/sdif.pc ${LIBDIR}/pkgconfig/ondel.pc ${LIBDIR}/pkgconfig/kv2.pc
        ${MANDIR}/man1/sdif2columns.1 ${MANDIR}/man1/sdiftool.1)
    if(NOT EXISTS ${PREFIX}/${file})
        message(FATAL_ERROR "not installed: ${file}")
    endif()
endforeach()

# Only the libraries' headers go into include/, one folder per library.
file(GLOB_RECURSE installedHeaders RELATIVE ${PREFIX}/include ${PREFIX}/include/*)
foreach(file ${installedHeaders})
    if(NOT file MATCHES "^(sdif|ondel|kv2)/[^/]+\\.h$")
        message(FATAL_ERROR "unexpected file in include/: ${file}")
    endif()
endforeach()

foreach(lib sdif ondel kv2)
    file(STRINGS ${PREFIX}/${LIBDIR}/pkgconfig/${lib}.pc line REGEX "^Version:")
    if(NOT line STREQUAL "Version: ${VERSION}")
        message(FATAL_ERROR "${lib}.pc: '${line}', expected version ${VERSION}")
    endif()
    # Written at install time: the prefix is the one given to --prefix.
    file(STRINGS ${PREFIX}/${LIBDIR}/pkgconfig/${lib}.pc line REGEX "^prefix=")
    if(NOT line STREQUAL "prefix=${PREFIX}")
        message(FATAL_ERROR "${lib}.pc: '${line}', expected prefix ${PREFIX}")
    endif()
endforeach()
foreach(program sdif2columns sdiftool)
    file(STRINGS ${PREFIX}/${MANDIR}/man1/${program}.1 line REGEX "^\\.TH ")
    if(NOT line MATCHES "\"${program} ${VERSION}\"")
        message(FATAL_ERROR "manual page title '${line}' lacks \"${program} ${VERSION}\"")
    endif()
endforeach()
execute_process(COMMAND ${PREFIX}/bin/sdiftool --version
    RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc EQUAL 0 OR NOT out STREQUAL "sdiftool ${VERSION}\n")
    message(FATAL_ERROR "installed sdiftool --version: status ${rc}, '${out}' '${err}'")
endif()

# The installed program is the built one: same refusal, same output.
execute_process(COMMAND ${PREFIX}/bin/sdif2columns
    RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc EQUAL 1 OR NOT err STREQUAL "No input file specified\n")
    message(FATAL_ERROR "installed program without input: status ${rc}, stderr '${err}'")
endif()
execute_process(COMMAND ${PREFIX}/bin/sdif2columns ${DATA}
    RESULT_VARIABLE rc OUTPUT_VARIABLE installedOut)
execute_process(COMMAND ${BUILT_PROGRAM} ${DATA} OUTPUT_VARIABLE builtOut)
if(NOT rc EQUAL 0 OR installedOut STREQUAL "" OR NOT installedOut STREQUAL builtOut)
    message(FATAL_ERROR "installed program on ${DATA}: status ${rc}, output differs from the built program's")
endif()
