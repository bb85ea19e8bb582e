#include "office.h"

#include <tolvane/tolvane.h>

#include <fstream>
#include <system_error>

namespace shop {

namespace {

/// No bank, but as good as one.
std::error_code bank(const money& amount)
{
    constexpr int limit = 15000;
    return amount.cents() > limit ? std::make_error_code(std::errc::permission_denied)
                                  : std::error_code();
}

} // namespace

void takeStock(const std::filesystem::path& list)
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_info) << "the list is " << list;
    std::ofstream file(list);
    constexpr int articles = 2500;
    for (int article = 1; article <= articles; ++article) {
        const int left = article % 500;
        TOLVANE_LOG_EVERY_N(log, tl_info, 1000) << "article " << article;
        TOLVANE_LOG_EVERY_MS(log, tl_info, 60000) << "counting";
        TOLVANE_LOG_IF(log, tl_warning, article > 2000 && left < 2) << article << ": " << left;
        if (left == 0) {
            TOLVANE_LOG_FIRST_N(log, tl_warning, 2) << article << " is sold out";
        }
        file << article << ' ' << left << '\n';
    }
}

bool deposit(const money& amount)
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_info) << "taking " << amount << " to the bank";
    const std::error_code error = bank(amount);
    if (error) {
        TOLVANE_LOG(log, tl_error) << "the bank refuses: " << error;
        return false;
    }
    return true;
}

} // namespace shop
