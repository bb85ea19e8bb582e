# Replaces what differs from run to run and from platform to platform: time stamps, thread ids and line ends.
function(mask variable)
    string(REGEX REPLACE "\\[[0-9]+-[0-9]+-[0-9]+ [0-9]+:[0-9]+:[0-9]+\\.[0-9]+\\]: *[0-9a-f]+:" "[time]:thread:"
        text "${${variable}}")
    string(REGEX REPLACE "\"time\":\"[^\"]*\"" "\"time\":\"time\"" text "${text}")
    string(REGEX REPLACE "\"thread\":[0-9]+" "\"thread\":0" text "${text}")
    string(REPLACE "\r\n" "\n" text "${text}")
    set(${variable} "${text}" PARENT_SCOPE)
endfunction()
