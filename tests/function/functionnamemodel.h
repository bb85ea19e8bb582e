#pragma once

#include <string>

/// A second implementation of extractFunctionName, step by step and without any cleverness, that
/// random signatures are checked against.
std::string modelFunctionName(const std::string& signature);
