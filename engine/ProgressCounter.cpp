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

int32_t ProgressCounter::Step()
{
    ++m_count;
    if (m_sink) {
        m_sink->Progress(m_count, m_total);
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

void ProgressCounter::Finish()
{
    if (!m_sink) std::cout << std::endl;
}

}  // namespace veltra
