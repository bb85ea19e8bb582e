# Fails when README does not show the EXAMPLE's program and the lines that it prints.
include(${CMAKE_CURRENT_LIST_DIR}/mask.cmake)

file(READ ${README} readme)
mask(readme)
foreach(shown main.cpp expected.txt)
    file(READ ${EXAMPLE}/${shown} text)
    string(REGEX REPLACE "^(//[^\n]*\n)+\n" "" text "${text}") # without the comment on top
    string(FIND "${readme}" "${text}" place)
    if(place EQUAL -1)
        message(FATAL_ERROR "${README} does not show ${EXAMPLE}/${shown}")
    endif()
endforeach()
