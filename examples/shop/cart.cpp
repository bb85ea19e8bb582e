#include "cart.h"

#include <tolvane/tolvane.h>

#include <algorithm>
#include <iomanip>
#include <map>

namespace shop {

namespace {

money price(const std::string& article)
{
    static const std::map<std::string, int> cents = {{"chair", 4950}, {"lamp", 1999}, {"pen", 99}};
    const auto found = cents.find(article);
    if (found == cents.end()) {
        TOLVANE_HERE(tl_warning) << "no price for " << std::quoted(article);
        return money(0);
    }
    return money(found->second);
}

} // namespace

money cart::total() const
{
    TOLVANE_SCOPE(log);
    money sum(0);
    std::for_each(articles.begin(), articles.end(), [&sum](const std::string& article) {
        TOLVANE_SCOPE(log);
        const money each = price(article);
        TOLVANE_LOGF(log, tl_debug, "%-8s%8.2f", article, each.cents() / 100.0);
        sum = sum + each;
    });
    TOLVANE_LOG(log, tl_info) << customer << " pays " << sum;
    return sum;
}

} // namespace shop
