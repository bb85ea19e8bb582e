#pragma once

#include <tolvane/hashedfunction.h>

/// Reaches what registration and the counting of levels reach.
struct hashedfunctiontest
{
    static tolvane::string functionname(const char* signature)
    {
        return hashedfunction::functionname(signature);
    }

    static void setLevelGeneration(unsigned int generation)
    {
        hashedfunction::s_levelGeneration = generation;
    }
};
