#pragma once

#include "tests/fuzz/choices.h"

/// Each fuzzer does with the library, and with a model of what it is to do, what an input says, and
/// compares the two. It keeps nothing from one input to the next.
namespace fuzz {

void formats(choices& input);
void functionname(choices& input);
void functiontree(choices& input);
void operands(choices& input);
void rotation(choices& input);
void staging(choices& input);
void textconversion(choices& input);
void timestamps(choices& input);

} // namespace fuzz
