#include "trace/lineunpacker.h"

namespace {

/// Characters. Memory of longer texts does not wait for the end of a pass.
constexpr unsigned long long longestKept = 4096;

void empty(tolvane::string& text) noexcept
{
    if (text.capacity() > longestKept) {
        tolvane::string().swapText(text);
    } else {
        text.overwrite(0);
    }
}

} // namespace

const formattedline& lineunpacker::unpack(const queuedline& line)
{
    empty(m_record.m_formatted);
    empty(m_record.m_text);
    m_record.m_function = line.function;
    m_record.m_level = line.level;
    m_record.m_time = line.time;
    m_record.m_type = static_cast<formattedline::type_t>(line.type);
    m_record.m_threadid = line.threadId;
    m_record.m_utc = line.utc;
    unpackName(line);
    unpackText(line);
    return m_record;
}

/// Most lines have none, as the one before.
void lineunpacker::unpackName(const queuedline& line)
{
    if (line.name) {
        m_record.m_threadName = line.name->text();
    } else if (!m_record.m_threadName.empty()) {
        empty(m_record.m_threadName);
    }
}

/// A line may be unpacked once more, so that its blocks stay with it.
void lineunpacker::unpackText(const queuedline& line)
{
    switch (line.form) {
    case packedline::noText:
        break;
    case packedline::operands:
        m_reader.append(m_record.m_text, line.payload(), line.size);
        break;
    case packedline::characters:
        m_record.m_text.assign(reinterpret_cast<const wchar_t*>(line.payload()),
                               line.size / sizeof(wchar_t));
        break;
    case packedline::operandblock:
        m_reader.append(m_record.m_text, line.operandBlock()->bytes, line.operandBlock()->size);
        break;
    case packedline::textblock:
        m_record.m_text = *line.textBlock();
        break;
    }
}
