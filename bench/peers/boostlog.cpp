#include "bench/peers/library.h"

#include <boost/log/attributes/current_thread_id.hpp>
#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/core.hpp>
#include <boost/log/expressions.hpp>
#include <boost/log/sinks/async_frontend.hpp>
#include <boost/log/sinks/text_file_backend.hpp>
#include <boost/log/sources/record_ostream.hpp>
#include <boost/log/sources/severity_logger.hpp>
#include <boost/log/support/date_time.hpp>
#include <boost/log/trivial.hpp>
#include <boost/log/utility/setup/common_attributes.hpp>
#include <boost/make_shared.hpp>
#include <boost/smart_ptr/shared_ptr.hpp>

namespace bench {

namespace {

namespace logging = boost::log;
namespace expressions = boost::log::expressions;

using severity = logging::trivial::severity_level;
using filesink = logging::sinks::asynchronous_sink<logging::sinks::text_file_backend>;

boost::shared_ptr<filesink> sink;
logging::sources::severity_logger_mt<severity> logger;

void work()
{
    BOOST_LOG_SEV(logger, severity::trace) << "starting";
    BOOST_LOG_SEV(logger, severity::trace) << "exiting";
}

} // namespace

const std::size_t headerLines = 0;

void openLog(const std::string& file, detail level)
{
    const auto backend = boost::make_shared<logging::sinks::text_file_backend>();
    backend->set_file_name_pattern(file);
    sink = boost::make_shared<filesink>(backend);
    sink->set_formatter(expressions::stream
                        << '['
                        << expressions::format_date_time<boost::posix_time::ptime>(
                               "TimeStamp", "%Y-%m-%d %H:%M:%S.%f")
                        << "]:"
                        << expressions::attr<logging::attributes::current_thread_id::value_type>(
                               "ThreadID")
                        << ":[" << expressions::attr<severity>("Severity")
                        << "]: bench::lines : " << expressions::smessage);
    logging::core::get()->add_sink(sink);
    logging::core::get()->set_filter(expressions::attr<severity>("Severity") >=
                                     (level == detail::scopes ? severity::trace : severity::info));
    logging::add_common_attributes();
}

void lines(int count, clock::time_point* stamps)
{
    repeat(count, stamps,
           [](int number) { BOOST_LOG_SEV(logger, severity::info) << "loaded item " << number; });
}

void suppressedLines(int count)
{
    repeat(count, nullptr,
           [](int number) { BOOST_LOG_SEV(logger, severity::debug) << "loaded item " << number; });
}

void scopes(int count, clock::time_point* stamps)
{
    repeat(count, stamps, [](int) { work(); });
}

void closeLog()
{
    logging::core::get()->remove_sink(sink);
    sink->stop();
    sink->flush();
    sink.reset();
}

std::optional<unsigned long long> countedAsLost()
{
    return std::nullopt;
}

} // namespace bench
