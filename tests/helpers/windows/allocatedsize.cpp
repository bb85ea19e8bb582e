#include "tests/helpers/allocatedsize.h"

#include <malloc.h>

std::size_t allocatedSize(void* memory) noexcept
{
    return _msize(memory);
}
