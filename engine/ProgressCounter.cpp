#include "engine/ProgressCounter.h"

#include <iostream>

#include "engine/NumberText.h"

namespace veltra {

ProgressCounter::ProgressCounter(int32_t backspaces, int32_t total)
    : m_erase(static_cast<size_t>(backspaces), '\b'),
      m_total(total),
      m_sink(CurrentConsoleSink()),
      m_texts(m_sink && m_sink->Wants(MessageKind::kProgress)),
      m_suffix(" / " + IntegerText(total))
{
}

ProgressCounter::~ProgressCounter()
{
    Flush();
}

void ProgressCounter::Flush()
{
    if (m_block.empty()) return;
    std::cout.write(m_block.data(), static_cast<std::streamsize>(m_block.size()));
    m_block.clear();
}

int32_t ProgressCounter::Step(int64_t line)
{
    ++m_count;
    if (!m_sink) {
        // The console's texts go out a block at a time, as a buffered standard output would send
        // them: the same bytes, without a write a line.
        m_block += m_erase;
        m_block += "Line: ";
        AppendInteger(m_block, m_count);
        m_block += m_suffix;
        if (m_block.size() >= kBlock) Flush();
        return m_count;
    }
    m_sink->Progress(line, int64_t{m_total} + 1);
    m_reported = line;
    if (!m_texts) return m_count;
    m_text = "Line: ";
    AppendInteger(m_text, m_count);
    m_text += m_suffix;
    m_sink->Message(MessageKind::kProgress, m_text);
    return m_count;
}

void ProgressCounter::Finish(int64_t lines, bool endLine)
{
    if (!m_sink) {
        Flush();
        if (endLine) std::cout << std::endl;
        return;
    }
    if (lines != m_reported) m_sink->Progress(lines, int64_t{m_total} + 1);
}

}  // namespace veltra
