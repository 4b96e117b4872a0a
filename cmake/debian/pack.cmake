# Makes the Debian packages of the build folder BUILD in the folder OUTPUT.
include(${CMAKE_CURRENT_LIST_DIR}/../source_date.cmake)
execute_process(COMMAND sh ${CMAKE_CURRENT_LIST_DIR}/pack.sh ${BUILD} ${OUTPUT} COMMAND_ERROR_IS_FATAL ANY)
