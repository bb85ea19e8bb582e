#pragma once

#include <string>
#include <vector>

/// One way to fault.
struct faultraiser
{
    std::string name;
    /// The end of the explanation that the fault gets.
    std::string status;
    /// Faults. To be called through a volatile pointer, so that the compiler expects it to throw.
    void (*raise)();
    /// Uses the thread's stack up, which is slow and can't be repeated at will.
    bool usesUpStack;
};

/// What the platform's hardware and system can raise.
const std::vector<faultraiser>& faultRaisers();

/// Faults where unwinding can't start, or after the callers' frames were destroyed: no catch is
/// found, but the report still comes.
const std::vector<faultraiser>& uncatchableFaults();

/// Puts back what a fault needed to be set up on its thread.
void resetFaultSetup();
