#include "engine/ProgressCounter.h"

#include <algorithm>
#include <cstring>
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
    // The erasing runs are short and a total has at most 11 characters.
    const std::string prefix = m_erase + "Line: ";
    m_prefixSize = std::min(prefix.size(), kPiece);
    prefix.copy(m_prefix, m_prefixSize);
    m_ofTotalSize = m_suffix.copy(m_ofTotal, kPiece);
    m_block.resize(kBlock + 3 * kPiece);
}

ProgressCounter::~ProgressCounter()
{
    Flush();
}

void ProgressCounter::Flush()
{
    if (m_used == 0) return;
    std::cout.write(m_block.data(), static_cast<std::streamsize>(m_used));
    m_used = 0;
}

void ProgressCounter::Show()
{
    // The count's digits one up: trailing nines turn to zeros and the digit before them counts
    // up; all nines make a 1 followed by zeros, one digit longer.
    size_t at = m_digitCount;
    while (at > 0 && m_digits[at - 1] == '9') m_digits[--at] = '0';
    if (at > 0) {
        ++m_digits[at - 1];
    } else {
        m_digits[0] = '1';
        m_digits[m_digitCount++] = '0';
    }
    char* put = m_block.data() + m_used;
    std::memcpy(put, m_prefix, kPiece);
    put += m_prefixSize;
    std::memcpy(put, m_digits, kPiece);
    put += m_digitCount;
    std::memcpy(put, m_ofTotal, kPiece);
    m_used = static_cast<size_t>(put - m_block.data()) + m_ofTotalSize;
    if (m_used >= kBlock) Flush();
}

int32_t ProgressCounter::Step(int64_t line)
{
    ++m_count;
    if (!m_sink) {
        // The console's texts go out a block at a time, as a buffered standard output would send
        // them: the same bytes, without a write a line.
        Show();
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
