#pragma once

#include <string>

/// Takes the plain qualified name out of a compiler's signature: "void __cdecl a::b(int)" gives
/// "a::b". Text that cannot be taken apart is returned whole.
///
/// \param signature  only its first 1024 characters are scanned.
std::string extractFunctionName(const std::string& signature);
