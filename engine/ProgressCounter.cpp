#include "engine/ProgressCounter.h"

#include <iostream>

#include "engine/NumberText.h"

namespace veltra {

ProgressCounter::ProgressCounter(int32_t backspaces, int32_t total, bool assemble)
    : m_erase(static_cast<size_t>(backspaces), '\b'),
      m_total(total),
      m_assemble(assemble && WritesPlainNumbers(std::cout))
{
    m_suffix = " / ";
    AppendInteger(m_suffix, total);
}

int32_t ProgressCounter::Step()
{
    ++m_count;
    if (!m_assemble) {
        std::cout << m_erase << "Line: " << m_count << " / " << m_total;
        return m_count;
    }
    m_text = m_erase;
    m_text += "Line: ";
    AppendInteger(m_text, m_count);
    m_text += m_suffix;
    std::cout.write(m_text.data(), static_cast<std::streamsize>(m_text.size()));
    return m_count;
}

}  // namespace veltra
