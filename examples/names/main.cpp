// Names: what a function's lines and levels are called. The same with every compiler, see
// docs/levels.md

#include <tolvane/tolvane.h>

#include <iostream>
#include <vector>

namespace shop {

class money
{
public:
    explicit money(int cents) : m_cents(cents)
    {
        TOLVANE_SCOPE(log);
        TOLVANE_LOG(log, tl_info) << "a constructor";
    }

    money operator+(const money& other) const
    {
        TOLVANE_SCOPE(log);
        TOLVANE_LOG(log, tl_info) << "an operator";
        return money(m_cents + other.m_cents);
    }

    bool operator()(int) const
    {
        TOLVANE_SCOPE(log);
        TOLVANE_LOG(log, tl_info) << "the call operator";
        return true;
    }

    explicit operator std::vector<int>() const
    {
        TOLVANE_SCOPE(log);
        TOLVANE_LOG(log, tl_info) << "a conversion";
        return {m_cents};
    }

private:
    int m_cents;
};

template <class article_t>
class cart
{
public:
    template <class count_t>
    void add(const article_t&, count_t)
    {
        TOLVANE_SCOPE(log);
        TOLVANE_LOG(log, tl_info) << "a template of a template";
    }

    void total() const
    {
        const auto sum = [] {
            TOLVANE_SCOPE(log);
            TOLVANE_LOG(log, tl_info) << "a lambda";
        };
        sum();
    }

    void order() const
    {
        struct local
        {
            static void send()
            {
                TOLVANE_SCOPE(log);
                TOLVANE_LOG(log, tl_info) << "a local class";
            }
        };
        local::send();
    }
};

namespace {

const char* hidden()
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_info) << "an anonymous namespace";
    return "hidden";
}

} // namespace

void check(bool isOpen)
{
    if (!isOpen) {
        TOLVANE_HERE(tl_warning) << "no scope at all";
    }
}

money operator""_eur(unsigned long long euros)
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_info) << "a literal";
    return money(static_cast<int>(euros) * 100);
}

} // namespace shop

int main()
{
    using shop::operator""_eur;

    trace::output(ostreamtracestream<char>(std::cout));
    trace::setLevel(tl_info);
    trace::setLevel(tl_error, "shop::money::money"); // names are as they are shown

    const shop::money price = 3_eur + shop::money(50);
    price(1);
    static_cast<void>(static_cast<std::vector<int>>(price));
    trace::sync(1000);

    trace::setLevel(tl_info, "shop::money::money");
    shop::cart<shop::money> cart;
    cart.add(shop::money(1), 2U);
    cart.total();
    cart.order();
    shop::hidden();
    shop::check(false);
    trace::sync(1000);
}
