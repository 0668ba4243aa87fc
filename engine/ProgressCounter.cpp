#include "engine/ProgressCounter.h"

#include <iostream>

#include "engine/NumberText.h"

namespace veltra {

ProgressCounter::ProgressCounter(int32_t backspaces, int32_t total)
    : m_erase(static_cast<size_t>(backspaces), '\b'), m_suffix(" / " + IntegerText(total))
{
}

int32_t ProgressCounter::Step()
{
    ++m_count;
    m_text = m_erase;
    m_text += "Line: ";
    AppendInteger(m_text, m_count);
    m_text += m_suffix;
    std::cout.write(m_text.data(), static_cast<std::streamsize>(m_text.size()));
    return m_count;
}

}  // namespace veltra
