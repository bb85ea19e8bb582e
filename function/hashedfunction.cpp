#include <tolvane/hashedfunction.h>

#include "function/functionname.h"
#include "function/hashedname.h"

unsigned int hashedfunction::s_levelGeneration = 1;

hashedfunction::hashedfunction(const char* signature)
    : m_name(functionname(signature)), m_key(hashedname::build(m_name))
{}

hashedfunction::hashedfunction(plain, const tolvane::string& name)
    : m_name(name), m_key(hashedname::build(m_name))
{}

hashedfunction::~hashedfunction()
{
    hashedname::destroy(m_key);
}

tolvane::string hashedfunction::functionname(const char* signature)
{
    return extractFunctionName(signature ? signature : "").c_str();
}
