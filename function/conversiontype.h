#pragma once

#include <string>

class signaturetext;

/// The type that a conversion operator converts to, up to the operator's parameters: without what
/// compilers tell differently, namespaces, template arguments and blanks. Empty when there is none.
std::string conversionType(signaturetext& text);
