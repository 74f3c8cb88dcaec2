# SPDX-License-Identifier: Apache-2.0
# tests/abi/compare.cmake - runs PROGRAM and compares what it prints with the file EXPECTED.
execute_process(COMMAND ${EMULATOR} ${PROGRAM} OUTPUT_VARIABLE printed RESULT_VARIABLE result)
file(READ ${EXPECTED} expected)
if(NOT result EQUAL 0 OR NOT printed STREQUAL expected)
    message(FATAL_ERROR "${EXPECTED} is not what this build prints; look at the difference, then run: ${PROGRAM} > ${EXPECTED}")
endif()
