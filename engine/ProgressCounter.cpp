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

int32_t ProgressCounter::Step(int64_t line)
{
    ++m_count;
    if (m_sink) {
        m_sink->Progress(line, int64_t{m_total} + 1);
        m_reported = line;
        if (!m_texts) return m_count;
        m_text = "Line: ";
    } else {
        m_text = m_erase;
        m_text += "Line: ";
    }
    AppendInteger(m_text, m_count);
    m_text += m_suffix;
    if (m_sink)
        m_sink->Message(MessageKind::kProgress, m_text);
    else
        std::cout.write(m_text.data(), static_cast<std::streamsize>(m_text.size()));
    return m_count;
}

void ProgressCounter::Finish(int64_t lines, bool endLine)
{
    if (!m_sink) {
        if (endLine) std::cout << std::endl;
        return;
    }
    if (lines != m_reported) m_sink->Progress(lines, int64_t{m_total} + 1);
}

}  // namespace veltra
