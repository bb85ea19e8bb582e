# Replaces what differs from run to run and from platform to platform: time stamps, thread ids and line ends.
function(mask variable)
    string(REGEX REPLACE "\\[[0-9]+-[0-9]+-[0-9]+ [0-9]+:[0-9]+:[0-9]+\\.[0-9]+\\]: *[0-9a-f]+:" "[time]:thread:"
        text "${${variable}}")
    string(REPLACE "\r\n" "\n" text "${text}")
    set(${variable} "${text}" PARENT_SCOPE)
endfunction()
