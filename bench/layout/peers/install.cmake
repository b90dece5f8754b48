# Installs the peers that npm has into the folder FOLDER, or says why the benchmark goes without them.
execute_process(COMMAND npm install --no-audit --no-fund --no-package-lock --silent
  WORKING_DIRECTORY ${FOLDER} RESULT_VARIABLE status ERROR_VARIABLE reason OUTPUT_QUIET)
if(status EQUAL 0)
  file(TOUCH ${FOLDER}/installed)
else()
  string(STRIP "${reason}" reason)
  message("bench: LayoutBench goes without its peers, which npm does not install: ${status} ${reason}")
endif()
