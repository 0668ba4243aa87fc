// FileOutput: the files a command reads and writes for the paths a user gives.
//
// A file the command writes itself (--json, --html) is written whole beside its target and
// renamed over it once synced, as the library writes its outputs: an interruption or a failed
// write leaves the earlier file as it was. An output that is no regular file (/dev/stdout, a
// pipe) is written directly. "-" stands for standard input or output wherever a command reads or
// writes a file: the library reads its inputs twice and replaces its outputs, so a command gives
// it a temporary file instead, filled from standard input first or copied to standard output at
// the end.
#ifndef VELTRA_CLI_FILEOUTPUT_H
#define VELTRA_CLI_FILEOUTPUT_H

#include <string>

namespace veltra::cli {

// Replaces the file at `path` (its links followed, its permissions kept) with `text`, or writes
// `text` to standard output for "-"; false, the earlier file kept, when it cannot.
bool WriteWhole(const std::string& path, const std::string& text);

// A file of the system's temporary directory, removed with the object.
class TemporaryFile {
public:
    TemporaryFile();
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    const std::string& Path() const { return m_path; }

private:
    std::string m_path;
};

// The file the library reads for a path the user gave: the path itself, or for "-" a copy of
// standard input. Shown() is how messages name it.
class GivenInput {
public:
    explicit GivenInput(const std::string& given);
    // False when standard input could not be copied.
    bool Ready() const { return m_ready; }
    const std::string& Path() const { return m_standard ? m_copy.Path() : m_given; }
    std::string Shown() const { return m_standard ? "standard input" : m_given; }
    bool Standard() const { return m_standard; }

private:
    std::string m_given;
    bool m_standard;
    bool m_ready = true;
    TemporaryFile m_copy;
};

// The file the library writes for a path the user gave: the path itself, or for "-" a file that
// Deliver copies to standard output.
class GivenOutput {
public:
    explicit GivenOutput(const std::string& given) : m_given(given), m_standard(given == "-") {}
    const std::string& Path() const { return m_standard ? m_copy.Path() : m_given; }
    std::string Shown() const { return m_standard ? "standard output" : m_given; }
    bool Standard() const { return m_standard; }
    // Copies a standard output's file to standard output; false when that fails.
    bool Deliver() const;

private:
    std::string m_given;
    bool m_standard;
    TemporaryFile m_copy;
};

}  // namespace veltra::cli

#endif  // VELTRA_CLI_FILEOUTPUT_H
