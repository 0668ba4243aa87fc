// OutputFile: a file that a run writes and users keep (a trained network, a judged copy),
// replaced whole or not at all.
//
// The run writes into a temporary file beside the output, in the same directory so that the
// final rename stays on one file system; Commit flushes it, syncs it to the disk and renames it
// over the output. An interruption (Ctrl-C, a kill, a power cut) therefore leaves the earlier file
// intact and at most a stray temporary ".<name>.<random>.tmp" beside it. A write that fails (a
// full disk, a file-size limit) removes the temporary and keeps the earlier file. A run that stops
// for any other reason (a malformed line) still leaves under the output's name what it wrote so
// far, as a run always has: that partial file shows where it stopped. A run whose thread ends
// under it (a host's callback exits the thread) is an interruption too: the earlier file stays.
//
// An output that is a symbolic link replaces the link's target; a replaced file keeps its
// permissions and, where the process may set it, its owner. An output that exists and is not a
// regular file (a terminal, a pipe, /dev/null) is written directly; when the run reads its output
// back, it is written first into a temporary file of the system's temporary directory and copied
// to the output at the end. Every message names the output as the caller gave it, never the
// temporary.
//
// One OutputFile per run, on the run's thread.
#ifndef VELTRA_SAFE_OUTPUTFILE_H
#define VELTRA_SAFE_OUTPUTFILE_H

#include <fstream>
#include <string>
#include <vector>

#include "safe/SmartString.h"

namespace veltra {

class OutputFile {
public:
    // Whether the run reads back what it wrote (training reloads its trained file).
    enum class Use { kWriteOnly, kReadBack };

    // Opens the output for writing. Raises "Cannot open file: <path>" where the output itself
    // could not be written (a missing directory, a file the user may not write, a directory), and
    // "Cannot create a temporary file for: <path>" where the output could be written but no
    // temporary file can be created (a directory the user may not write, holding a file they
    // may): the earlier file is then left untouched rather than rewritten in place.
    OutputFile(const String& path, Use use);
    // An output left unfinished by a failure: removed after a failed write, otherwise put in
    // place as it stands. Never raises.
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    // The stream the run writes, numbers in the "C" locale's form whatever the host has set.
    std::ostream& Stream() { return m_stream; }
    // Raises "Cannot write file: <path>" when a write has failed so far; the run then ends and
    // the earlier file stays.
    void CheckWritten();
    // Flushes and closes the stream, then checks as CheckWritten does. What was written can then
    // be read from ReadPath.
    void Close();
    const std::string& ReadPath() const { return m_writePath; }
    // Opens the written file again, for appending. Raises "Cannot open file: <path>".
    void Reopen();
    // Closes, syncs and puts the file in place of the output. Raises "Cannot write file: <path>".
    void Commit();
    // Whether the calling thread is ending while it unwinds: its unfinished outputs are then
    // removed, not put in place.
    static void SetThreadEnding(bool ending) noexcept;

private:
    void Finish(bool checked);
    void Discard() noexcept;

    String m_path;            // as the caller gave it, for messages
    std::string m_target;     // the file replaced: the output, its links followed
    std::string m_writePath;  // the file written: the temporary, or the output itself
    bool m_direct = false;    // the output is written directly
    bool m_staged = false;    // the output is copied from a temporary at the end
    bool m_failed = false;    // a write failed: nothing goes in place of the output
    bool m_done = false;
    static constexpr size_t kBufferSize = 1 << 20;
    std::vector<char> m_buffer;  // the stream's buffer: a run's output goes to the file in large writes
    std::ofstream m_stream;
    std::ofstream m_output;  // the output itself, while it is copied from a temporary at the end
};

// Text gathered for a stream and written to it a block at a time: a run that writes many short
// pieces (the lines of a judged copy) puts them in place here and the stream gets one write per
// block. What was gathered is written when the block is full, on Flush, and when the block goes,
// so that a run that stops still leaves all it wrote.
class TextBlock {
public:
    explicit TextBlock(std::ostream& out) : m_out(out), m_text(kSize) {}
    ~TextBlock() { Flush(); }
    TextBlock(const TextBlock&) = delete;
    TextBlock& operator=(const TextBlock&) = delete;

    // Where the next `size` bytes go; Took then says where the bytes put there end.
    char* Room(size_t size)
    {
        if (m_text.size() - m_used < size) {
            Flush();
            if (m_text.size() < size) m_text.resize(size);
        }
        return m_text.data() + m_used;
    }
    void Took(const char* end) { m_used = static_cast<size_t>(end - m_text.data()); }
    void Flush()
    {
        if (m_used > 0) m_out.write(m_text.data(), static_cast<std::streamsize>(m_used));
        m_used = 0;
    }

private:
    static constexpr size_t kSize = 1 << 20;
    std::ostream& m_out;
    std::vector<char> m_text;
    size_t m_used = 0;
};

}  // namespace veltra

#endif  // VELTRA_SAFE_OUTPUTFILE_H
