# Warnings are errors in everything that is ours.
function(tolvane_set_warnings target)
    if(MSVC)
        target_compile_options(${target} PRIVATE /W4 /WX /EHa /utf-8)
    else()
        target_compile_options(${target} PRIVATE $<$<COMPILE_LANGUAGE:CXX>:
            -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wnon-virtual-dtor
            -Woverloaded-virtual -Wold-style-cast -Wcast-qual -Werror
            $<$<CXX_COMPILER_ID:Clang>:-Wno-unused-private-field>>) # some are used on one platform only
    endif()
endfunction()
