#include "tests/helpers/pipedstandarderror.h"

#include "support/windows/platform.h"

#include <cstdlib>

struct pipedstandarderror::ends
{
    HANDLE before = GetStdHandle(STD_ERROR_HANDLE);
    HANDLE output = nullptr;
    HANDLE input = nullptr;
};

pipedstandarderror::pipedstandarderror() : m_ends(new ends)
{
    if (!CreatePipe(&m_ends->output, &m_ends->input, nullptr, 0)) {
        std::abort();
    }
    SetStdHandle(STD_ERROR_HANDLE, m_ends->input);
}

pipedstandarderror::~pipedstandarderror()
{
    SetStdHandle(STD_ERROR_HANDLE, m_ends->before);
    CloseHandle(m_ends->input);
    CloseHandle(m_ends->output);
    delete m_ends;
}

std::string pipedstandarderror::read() const
{
    std::string all;
    DWORD waiting = 0;
    while (PeekNamedPipe(m_ends->output, nullptr, 0, nullptr, &waiting, nullptr) && waiting != 0) {
        char part[4096];
        DWORD count = 0;
        if (!ReadFile(m_ends->output, part, sizeof part, &count, nullptr)) {
            break;
        }
        all.append(part, count);
    }
    return all;
}
