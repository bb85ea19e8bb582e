# Runs PROGRAM, which writes a file of JSON objects in FOLDER, and has PYTHON read the file.
cmake_minimum_required(VERSION 3.25)

file(REMOVE_RECURSE ${FOLDER})
file(MAKE_DIRECTORY ${FOLDER})
execute_process(COMMAND ${PROGRAM} lines.json WORKING_DIRECTORY ${FOLDER} COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${PYTHON} -m json.tool --json-lines lines.json WORKING_DIRECTORY ${FOLDER}
    OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${PYTHON} ${CMAKE_CURRENT_LIST_DIR}/jsonlines.py lines.json WORKING_DIRECTORY ${FOLDER}
    COMMAND_ERROR_IS_FATAL ANY)
