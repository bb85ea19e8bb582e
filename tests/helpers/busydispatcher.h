#pragma once

#include "tests/helpers/probesink.h"
#include "tests/helpers/sinkblock.h"
#include "tests/helpers/traceimpltest.h"

/// A dispatcher whose writer is in a sink's call, with the line "first", until it is released.
struct busydispatcher
{
    busydispatcher()
    {
        dispatcher.output(sink);
        queue(tl_always, L"first");
        block.waitForLine();
    }

    void queue(tracelevel_t level, const wchar_t* text)
    {
        traceimpltest::queue(dispatcher, function, level, text);
    }

    traceimpl dispatcher;
    const hashedfunction& function = dispatcher.registerfunction("void f()");
    const probesink sink{1};
    sinkblock block{sink};
};
