#include "tests/helpers/pipedstandarderror.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>

struct pipedstandarderror::ends
{
    int before = ::dup(STDERR_FILENO);
    int pipe[2] = {};
};

pipedstandarderror::pipedstandarderror() : m_ends(new ends)
{
    if (::pipe2(m_ends->pipe, O_CLOEXEC) != 0) {
        std::abort();
    }
    ::fcntl(m_ends->pipe[0], F_SETFL, O_NONBLOCK);
    ::dup2(m_ends->pipe[1], STDERR_FILENO);
}

pipedstandarderror::~pipedstandarderror()
{
    ::dup2(m_ends->before, STDERR_FILENO);
    for (const int file : {m_ends->before, m_ends->pipe[0], m_ends->pipe[1]}) {
        ::close(file);
    }
    delete m_ends;
}

std::string pipedstandarderror::read() const
{
    std::string all;
    char part[4096];
    for (ssize_t count = 0; (count = ::read(m_ends->pipe[0], part, sizeof part)) > 0;) {
        all.append(part, static_cast<std::size_t>(count));
    }
    return all;
}
