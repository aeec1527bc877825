# Runs ${BENCH} with its ${PROGRAMS} briefly: it must succeed and write a ${JSON} that can be read.
execute_process(COMMAND ${BENCH} --rounds 1 --scale 0.002 --json ${JSON} --programs ${PROGRAMS}
  COMMAND_ERROR_IS_FATAL ANY)
file(READ ${JSON} report)
string(JSON figures LENGTH "${report}" figures)
string(JSON first GET "${report}" figures 0 median)
if(figures LESS 50 OR NOT first GREATER 0)
  message(FATAL_ERROR "${figures} figures, the first one ${first}")
endif()
