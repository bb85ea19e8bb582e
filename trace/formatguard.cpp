#include <tolvane/formatguard.h>

#include "stacktrace/structuredexception.h"

#include <exception>
#include <new>
#include <string>

namespace tolvane {

/// Without memory for a text the line is an empty one.
formatguard::formatguard(step_t step, void* context)
{
    try {
        step(context);
    } catch (const StructuredException&) {
        throw;
    } catch (const std::bad_alloc&) {
        // no text
    } catch (const std::exception& problem) {
        m_problem = string("cannot format: ") + string(problem.what());
    }
}

} // namespace tolvane
