#include <boost/log/trivial.hpp>

void work()
{
    BOOST_LOG_TRIVIAL(info) << "loaded item " << 42;
}
