#pragma once

#include <string>

/// A pipe in the place of standard error, for as long as the object lives. Nobody reads from it by
/// itself.
class pipedstandarderror
{
public:
    pipedstandarderror();
    ~pipedstandarderror();

    pipedstandarderror(const pipedstandarderror&) = delete;
    pipedstandarderror& operator=(const pipedstandarderror&) = delete;

    /// All that is in it now.
    std::string read() const;

private:
    struct ends;
    ends* const m_ends;
};
