# Checks which names leave the built library: those of the exported classes, what instantiates the C++
# library's templates, and nothing of the insides.
#   -D NM=, OBJDUMP=: the tools; LIBRARY=: the shared library; WINDOWS=: whether it is a DLL
cmake_minimum_required(VERSION 3.25)

set(exported trace tracestream traceobject nullobject consoletracestream filetracestream
    jsontracestream recorderfiletracestream recordertracestream rotatingfilestracestream formattedline
    hashedfunction stacktrace)
if(WINDOWS)
    list(APPEND exported debuggertracestream)
else()
    list(APPEND exported syslogtracestream)
endif()
set(allowed ${exported} StructuredException)

# Of some the single functions, which their inline ones call.
set(exported_in_part FlushGuard callsite formatguard formatwriter narrowstream place scope scopestream string tracedline)

# Functions by themselves.
set(exported_functions escaped)

# As the compiler writes them: "5trace".
set(mangled)
foreach(class IN LISTS allowed)
    string(LENGTH ${class} length)
    list(APPEND mangled ${length}${class})
endforeach()
foreach(class IN LISTS exported_in_part exported_functions)
    string(LENGTH ${class} length)
    list(APPEND mangled 7tolvane${length}${class})
endforeach()
list(JOIN mangled "|" mangled)

if(WINDOWS)
    execute_process(COMMAND ${OBJDUMP} -p ${LIBRARY} OUTPUT_VARIABLE names RESULT_VARIABLE failed)
    string(REGEX REPLACE ".*Ordinal/Name Pointer. Table" "" names "${names}")
    string(REGEX REPLACE "[][]" "@" names "${names}") # lists don't bear brackets; "[  12] name"
    string(REGEX MATCHALL "\n[ \t]*@ *[0-9]+@ [^ \n]+" names "${names}")
    list(TRANSFORM names REPLACE ".*@ " "")
else()
    execute_process(COMMAND ${NM} -D --defined-only ${LIBRARY} OUTPUT_VARIABLE names RESULT_VARIABLE failed)
    string(REGEX MATCHALL "[^ \n]+\n" names "${names}")
endif()
if(failed)
    message(FATAL_ERROR "the names of ${LIBRARY} cannot be read")
endif()

set(inside)
set(seen)
foreach(name IN LISTS names)
    string(STRIP "${name}" name)
    if(name MATCHES "^_ZNK?[0-9]+[a-z]+(4Impl|5Block|5Entry|8Registry)")
        list(APPEND inside "${name}") # nested in an exported class
    elseif(name MATCHES "^_Z(T[VISTC]|Tv[0-9n]*_n[0-9]*_|Thn[0-9]*_|GV|Z)?N?K?(${mangled})")
        list(APPEND seen ${CMAKE_MATCH_2})
    elseif(name MATCHES "^_Z(T[VISTC]|GV)?N?K?(S|9__gnu_cxx|St|ZN?K?S)|^_ZS|^_ZZ?N?K?St|^_ZN9__gnu_cxx")
        # instantiated from the C++ library's templates, wherever they are used
    elseif(NOT name MATCHES "^(__cxa_pure_virtual|__asan.*|__odr_asan.*|__tsan.*|__ubsan.*|_init|_fini)$")
        list(APPEND inside "${name}")
    endif()
endforeach()

foreach(class IN LISTS exported)
    string(LENGTH ${class} length)
    if(NOT ${length}${class} IN_LIST seen)
        message(FATAL_ERROR "the class ${class} is not exported")
    endif()
endforeach()
foreach(class IN LISTS exported_in_part)
    string(LENGTH ${class} length)
    if(NOT 7tolvane${length}${class} IN_LIST seen)
        message(FATAL_ERROR "nothing of the class ${class} is exported")
    endif()
endforeach()
foreach(function IN LISTS exported_functions)
    string(LENGTH ${function} length)
    if(NOT 7tolvane${length}${function} IN_LIST seen)
        message(FATAL_ERROR "the function ${function} is not exported")
    endif()
endforeach()
if(inside)
    list(JOIN inside "\n  " inside)
    message(FATAL_ERROR "exported, though nobody outside needs it:\n  ${inside}")
endif()
