#include "trace/linequeue.h"

#include "support/coldpath.h"
#include "trace/stage.h"

#include <utility>

namespace {

/// Records for which there is room from the first one on, so that a batch does not move while it
/// grows: as many as wait at most, as a rule.
constexpr std::size_t usualRoom = 2001;

/// Characters. Memory of longer texts is given back.
constexpr unsigned long long longestSpare = 512;

} // namespace

/// A record that was written before has its memory already.
formattedline& linequeue::makeRecord()
{
    if (m_lines.size() == m_lines.capacity()) {
        makeRoom();
    }
    if (m_spareLines.empty()) {
        m_lines.push_back(countedptr<formattedline>(new formattedline));
    } else {
        m_lines.push_back(std::move(m_spareLines.back()));
        m_spareLines.pop_back();
    }
    return *m_lines.back();
}

TOLVANE_COLD void linequeue::makeRoom()
{
    m_lines.reserve(m_lines.empty() ? usualRoom : 2 * m_lines.size());
}

void linequeue::append(const stagedline& line, unsigned int threadId)
{
    formattedline& record = makeRecord();
    record.m_level = line.level;
    record.m_function = line.function;
    record.m_time = line.time;
    record.m_type = static_cast<formattedline::type_t>(line.type);
    record.m_threadid = threadId;
    try {
        setText(record, line);
    } catch (...) {
        m_lines.pop_back();
        throw;
    }
}

void linequeue::setText(formattedline& record, const stagedline& line)
{
    switch (line.form) {
    case stagedline::noText:
        break;
    case stagedline::operands:
        m_reader.append(record.m_text, line.payload(), line.size);
        break;
    case stagedline::characters:
        record.m_text.assign(reinterpret_cast<const wchar_t*>(line.payload()),
                             line.size / sizeof(wchar_t));
        break;
    case stagedline::operandblock:
        m_reader.append(record.m_text, line.operandBlock()->bytes, line.operandBlock()->size);
        break;
    case stagedline::textblock:
        record.m_text.swapText(*line.textBlock());
        break;
    }
}

void linequeue::append(tracelevel_t level, const hashedfunction& function,
                       formattedline::type_t type, tolvane::string& text)
{
    formattedline& record = makeRecord();
    record.renew(level, function, type);
    record.m_text.swapText(text);
}

linequeue::batch_t linequeue::takeAll() noexcept
{
    batch_t batch;
    batch.swap(m_lines);
    m_taken = 0;
    return batch;
}

void linequeue::emptyRecords(batch_t& written) noexcept
{
    const auto isLarge = [](const countedptr<formattedline>& line) {
        return line->m_formatted.capacity() > longestSpare ||
               line->m_text.capacity() > longestSpare;
    };
    written.erase(std::remove_if(written.begin(), written.end(), isLarge), written.end());
    for (const auto& line : written) {
        line->retire();
    }
}

void linequeue::keep(batch_t& written) noexcept
{
    if (m_spareLines.size() < written.size()) {
        m_spareLines.swap(written);
    }
}
