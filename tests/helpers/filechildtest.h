#pragma once

#include "tests/helpers/childprocess.h"
#include "tests/helpers/temporaryfolder.h"

#include <catch2/catch.hpp>

#include <algorithm>
#include <string>

/// Runs a case of tests/integration/filechild.cpp in a folder.
/// \return what it said, each line ended by a line feed alone.
inline std::string sayingsOf(const std::string& name, const temporaryfolder& folder)
{
    const childresult result = childprocess::run(childprocess::beside("tolvane_file_child"),
                                                 {name, folder.path().string()});
    CAPTURE(result.error);
    CHECK(result.exitCode == 0);
    CHECK_FALSE(result.timedOut);
    std::string said = result.output;
    said.erase(std::remove(said.begin(), said.end(), '\r'), said.end());
    return said;
}
