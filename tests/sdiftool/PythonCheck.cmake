# Runs check_tables.py in MODE with a Python interpreter that can: for
# "numpy", one that has numpy (Debian's /usr/bin/python3 first, since a
# python3 found first on the PATH, such as pyenv's, may lack it); for "json"
# any.  Skipped when there is none.  Needs MODE SCRIPT TOOL DATA.

find_program(PATH_PYTHON3 python3)
set(found "")
foreach(python /usr/bin/python3 ${PATH_PYTHON3})
    if(NOT EXISTS ${python})
        continue()
    endif()
    set(probe "import json")
    if(MODE STREQUAL "numpy")
        set(probe "import numpy")
    endif()
    execute_process(COMMAND ${python} -c ${probe} RESULT_VARIABLE rc OUTPUT_QUIET ERROR_QUIET)
    if(rc EQUAL 0)
        set(found ${python})
        break()
    endif()
endforeach()
if(NOT found)
    message("python3 with ${MODE} not found: skipped")
    return()
endif()
execute_process(COMMAND ${found} ${SCRIPT} ${MODE} ${TOOL} ${DATA}
    RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc EQUAL 0)
    message(FATAL_ERROR "${found} ${SCRIPT} ${MODE} (status ${rc}):\n${out}\n${err}")
endif()
