#include "bench/store.h"

bench::storedata::storedata() : log(logSize), index(indexSize)
{
    for (std::size_t key = 0; key < keyCount; ++key) {
        keys.push_back("account/" + std::to_string(key) + "/balance");
    }
}
