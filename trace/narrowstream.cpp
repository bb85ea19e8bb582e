#include <tolvane/narrowstream.h>

#include "trace/globallocale.h"
#include "trace/insidelibrary.h"

#include <sstream>

namespace tolvane {

namespace {

/// A stream asks for the global locale first.
std::ostream* makeStream()
{
    const localeturn turn;
    const insidelibrary inside;
    return new std::ostringstream;
}

} // namespace

narrowstream::narrowstream(traceobject& wide) : m_wide(wide), m_narrow(makeStream())
{
    m_narrow->imbue(m_wide.getloc());
    m_narrow->flags(m_wide.flags());
    m_narrow->width(m_wide.width());
    m_narrow->precision(m_wide.precision());
    m_narrow->fill(usualFill());
    m_narrow->setstate(m_wide.rdstate());
}

narrowstream::~narrowstream()
{
    const insidelibrary inside;
    delete m_narrow;
}

/// The nearest to the wide stream's character.
char narrowstream::usualFill() const
{
    return m_wide.narrow(m_wide.fill(), ' ');
}

void narrowstream::handOver()
{
    std::string text;
    {
        const insidelibrary inside;
        text = static_cast<std::ostringstream*>(m_narrow)->str();
    }
    m_wide.width(0); // this stream has used it
    m_wide.insertNarrow(text.data(), text.size());
    m_wide.flags(m_narrow->flags());
    m_wide.width(m_narrow->width());
    m_wide.precision(m_narrow->precision());
    if (m_narrow->fill() != usualFill()) {
        m_wide.fill(m_wide.widen(m_narrow->fill()));
    }
    m_wide.setstate(m_narrow->rdstate());
}

} // namespace tolvane
