# Formats the manual page with every groff warning enabled; any warning fails.
# Skipped without groff, which only this check needs.  Needs PAGE.

find_program(GROFF groff)
if(NOT GROFF)
    message("groff not found: skipped")
    return()
endif()
execute_process(COMMAND ${GROFF} -man -ww -z -t ${PAGE}
    RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc EQUAL 0 OR NOT err STREQUAL "")
    message(FATAL_ERROR "groff on ${PAGE} (status ${rc}):\n${err}")
endif()
# The same at terminal width, where line breaking and adjustment can warn.
execute_process(COMMAND ${GROFF} -man -ww -z -t -Tutf8 -rLL=80n ${PAGE}
    RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc EQUAL 0 OR NOT err STREQUAL "")
    message(FATAL_ERROR "groff -Tutf8 on ${PAGE} (status ${rc}):\n${err}")
endif()
