#include "cli/FileOutput.h"

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <system_error>

#if defined(_WIN32)
#  include <fcntl.h>
#  include <io.h>
#  include <windows.h>
#else
#  include <sys/stat.h>
#  include <unistd.h>
#endif

namespace veltra::cli {

namespace fs = std::filesystem;

namespace {

// Writes `text` and closes the file; with `sync`, the data reaches the disk first.
bool WriteAndClose(std::FILE* file, const std::string& text, bool sync)
{
    bool written = std::fwrite(text.data(), 1, text.size(), file) == text.size() && std::fflush(file) == 0;
#if defined(_WIN32)
    written = written && (!sync || ::_commit(::_fileno(file)) == 0);
#else
    written = written && (!sync || ::fsync(::fileno(file)) == 0);
#endif
    return std::fclose(file) == 0 && written;
}

// Whether `path` names something that exists and is no regular file: a directory, a device, a pipe.
bool Irregular(const std::string& path, const fs::file_status& status)
{
    if (fs::exists(status)) return !fs::is_regular_file(status);
#if defined(_WIN32)
    // Devices such as NUL exist for the system but not for the file system's status.
    const HANDLE handle =
        ::CreateFileA(path.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                      OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (handle == INVALID_HANDLE_VALUE) return false;
    const bool device = ::GetFileType(handle) != FILE_TYPE_DISK;
    ::CloseHandle(handle);
    return device;
#else
    (void)path;
    return false;
#endif
}

std::string RandomName()
{
    const uint64_t random =
        std::random_device()() ^
        static_cast<uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
    return std::to_string(random % 1000000000);
}

// Standard input and output carry bytes as they are, on Windows too.
void Binary(std::FILE* stream)
{
#if defined(_WIN32)
    ::_setmode(::_fileno(stream), _O_BINARY);
#else
    (void)stream;
#endif
}

}  // namespace

bool WriteWhole(const std::string& path, const std::string& text)
{
    if (path == "-") {
        Binary(stdout);
        return std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0;
    }
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (Irregular(path, status)) {
        // Opened by the name given: the links of /dev/stdout lead to no name.
        std::FILE* file = std::fopen(path.c_str(), "wb");
        return file && WriteAndClose(file, text, false);
    }
    // The file replaced: where the path's links lead, when it exists.
    fs::path target = fs::weakly_canonical(path, error);
    if (error) target = path;
    const fs::path temporary =
        target.parent_path() / ("." + target.filename().string() + "." + RandomName() + ".tmp");
    std::FILE* file = std::fopen(temporary.string().c_str(), "wb");
    if (!file) return false;
    bool written = WriteAndClose(file, text, true);
    if (written && fs::exists(status)) fs::permissions(temporary, status.permissions(), error);
    if (written) fs::rename(temporary, target, error);
    if (written && !error) return true;
    fs::remove(temporary, error);
    return false;
}

TemporaryFile::TemporaryFile()
{
    std::error_code error;
    m_path = (fs::temp_directory_path(error) / ("veltra-" + RandomName() + ".tmp")).string();
}

TemporaryFile::~TemporaryFile()
{
    std::error_code error;
    fs::remove(m_path, error);
}

GivenInput::GivenInput(const std::string& given) : m_given(given), m_standard(given == "-")
{
    if (!m_standard) return;
    Binary(stdin);
    std::ofstream copy(m_copy.Path(), std::ios::binary);
    char block[65536];
    size_t got;
    while ((got = std::fread(block, 1, sizeof block, stdin)) > 0)
        copy.write(block, static_cast<std::streamsize>(got));
    copy.close();
    m_ready = !std::ferror(stdin) && !copy.fail();
}

bool GivenOutput::Deliver() const
{
    if (!m_standard) return true;
    std::ifstream copy(m_copy.Path(), std::ios::binary);
    if (!copy.is_open()) return false;
    Binary(stdout);
    std::fflush(stdout);
    char block[65536];
    while (copy.read(block, sizeof block) || copy.gcount() > 0)
        if (std::fwrite(block, 1, static_cast<size_t>(copy.gcount()), stdout) !=
            static_cast<size_t>(copy.gcount()))
            return false;
    return std::fflush(stdout) == 0 && !copy.bad();
}

}  // namespace veltra::cli
