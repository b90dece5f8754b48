# Writes a PROGRAM's manual PAGE from its TEMPLATE, see Pages.cmake.
execute_process(COMMAND ${PROGRAM} --manual OUTPUT_VARIABLE COMMANDS COMMAND_ERROR_IS_FATAL ANY)
configure_file(${TEMPLATE} ${PAGE} @ONLY)
