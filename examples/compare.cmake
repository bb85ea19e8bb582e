# Runs PROGRAM in an empty FOLDER, for TIME_LIMIT seconds at most; fails when it does not end with EXIT_CODE, or when what
# it prints and the FILES that it writes are not as EXPECTED.
include(${CMAKE_CURRENT_LIST_DIR}/mask.cmake)

file(REMOVE_RECURSE ${FOLDER})
file(MAKE_DIRECTORY ${FOLDER})
execute_process(COMMAND ${PROGRAM} WORKING_DIRECTORY ${FOLDER} TIMEOUT ${TIME_LIMIT}
    OUTPUT_VARIABLE output ERROR_VARIABLE errors RESULT_VARIABLE result ENCODING NONE)
if(result EQUAL 1 AND output STREQUAL "" AND errors STREQUAL "" AND PROGRAM MATCHES "/wine;")
    # Once in a thousand starts Wine ends so, without having run the program.
    execute_process(COMMAND ${PROGRAM} WORKING_DIRECTORY ${FOLDER} TIMEOUT ${TIME_LIMIT}
        OUTPUT_VARIABLE output ERROR_VARIABLE errors RESULT_VARIABLE result ENCODING NONE)
endif()
if(NOT result EQUAL EXIT_CODE)
    message(FATAL_ERROR "${PROGRAM} ended with ${result} and not with ${EXIT_CODE}:\n${output}\n${errors}")
endif()

# What is SORTED, by how an item ends. The first item of a report is its message.
set(end_of_lines "\n")
set(end_of_stacks "Trace follows:\n|stacktrace::FaultHandler : \n")
function(sort variable)
    string(REGEX REPLACE "(${end_of_${SORTED}})" "\\1;" items "${${variable}}")
    list(SORT items)
    list(JOIN items "" items)
    set(${variable} "${items}" PARENT_SCOPE)
endfunction()

# Objects of JSON by the names of their threads, each thread's in the order of its own.
function(sort_by_name variable)
    set(content "${${variable}}")
    string(REGEX MATCHALL "\"name\":\"[^\"]*\"" names "${content}")
    if(names)
        list(REMOVE_DUPLICATES names)
        list(SORT names)
        set(sorted "")
        foreach(name IN LISTS names)
            string(REGEX MATCHALL "[^\n]*${name}[^\n]*\n" own "${content}")
            list(JOIN own "" own)
            string(APPEND sorted "${own}")
        endforeach()
        set(${variable} "${sorted}" PARENT_SCOPE)
    endif()
endfunction()

set(actual "")
function(add_part title content)
    mask(content)
    if(SORTED STREQUAL "names")
        sort_by_name(content)
    elseif(SORTED)
        sort(content)
    endif()
    set(actual "${actual}${title}${content}" PARENT_SCOPE)
endfunction()

add_part("" "${output}")
if(STANDARD_ERROR)
    add_part("--- standard error\n" "${errors}")
endif()
foreach(file IN LISTS FILES)
    file(READ ${FOLDER}/${file} content)
    add_part("--- ${file}\n" "${content}")
endforeach()

file(WRITE ${FOLDER}/actual.txt "${actual}")
file(READ ${EXPECTED} expected)
if(NOT actual STREQUAL expected)
    message(FATAL_ERROR "Expected (${EXPECTED}):\n${expected}\nbut got (${FOLDER}/actual.txt):\n${actual}\n${errors}")
endif()
