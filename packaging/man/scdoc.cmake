# cmake -DSCDOC=... -DINPUT=page.scd -DOUTPUT=page -P scdoc.cmake
# scdoc reads standard input and writes standard output only.
execute_process(COMMAND ${SCDOC}
    INPUT_FILE ${INPUT}
    OUTPUT_FILE ${OUTPUT}.tmp
    RESULT_VARIABLE result)
if(NOT result EQUAL 0)
    file(REMOVE ${OUTPUT}.tmp)
    message(FATAL_ERROR "scdoc failed on ${INPUT}: ${result}")
endif()
file(RENAME ${OUTPUT}.tmp ${OUTPUT})
