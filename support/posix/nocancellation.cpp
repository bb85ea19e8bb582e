#include "support/nocancellation.h"

#include <pthread.h>

namespace tolvane {

NoCancellation::NoCancellation() noexcept
{
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &m_previous);
}

NoCancellation::~NoCancellation()
{
    int ignored = 0;
    pthread_setcancelstate(m_previous, &ignored);
}

} // namespace tolvane
