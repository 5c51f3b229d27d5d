cmake_minimum_required(VERSION 3.25)
# Fails when the machine code of LIBRARY holds a fused multiply-add. Results
# must be the same on every processor variant, and a fused multiply-add
# rounds once where the code rounds twice. -ffp-contract=off forbids them,
# but GCC 12's vectoriser still forms them from complex-product patterns in
# code compiled for processors that have them (the variants), so the
# compiled library itself is checked.
execute_process(COMMAND objdump -d --no-show-raw-insn ${LIBRARY} OUTPUT_VARIABLE code RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "objdump failed on ${LIBRARY}")
endif()
string(REGEX MATCHALL "\tvf(n?m(add|sub)|maddsub|msubadd)[0-9a-z]*" fused "${code}")
list(LENGTH fused count)
if(count GREATER 0)
  list(REMOVE_DUPLICATES fused)
  message(FATAL_ERROR "${count} fused multiply-add instructions in ${LIBRARY}: ${fused}")
endif()
message(STATUS "no fused multiply-add in ${LIBRARY}")
