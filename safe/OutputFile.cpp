#include "safe/OutputFile.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <locale>
#include <random>
#include <system_error>

#if defined(_WIN32)
#  include <fcntl.h>
#  include <io.h>
#  include <sys/stat.h>
#  include <windows.h>
#else
#  include <fcntl.h>
#  include <sys/stat.h>
#  include <unistd.h>
#endif

namespace veltra {

namespace fs = std::filesystem;

namespace {

// What is known of the file an output names.
struct Found {
    bool exists = false;
    bool regular = false;
#if !defined(_WIN32)
    struct stat status = {};
#endif
};

// The file that `path` names once its symbolic links are followed; a link to nothing names the
// file the link would create.
std::string FollowLinks(const std::string& path)
{
#if defined(_WIN32)
    return path;
#else
    fs::path at = path;
    std::error_code error;
    for (int hops = 0; hops < 40 && fs::is_symlink(fs::symlink_status(at, error)); ++hops) {
        const fs::path link = fs::read_symlink(at, error);
        if (error) break;
        at = link.is_absolute() ? link : at.parent_path() / link;
    }
    return at.string();
#endif
}

Found Examine(const std::string& path)
{
    Found found;
#if defined(_WIN32)
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    found.exists = !error && fs::exists(status);
    found.regular = found.exists && fs::is_regular_file(status);
    if (!found.exists) {
        // Devices such as NUL exist for the system but not for the file system's status.
        const HANDLE handle =
            ::CreateFileA(path.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                          OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
        if (handle != INVALID_HANDLE_VALUE) {
            found.exists = ::GetFileType(handle) != FILE_TYPE_DISK;
            ::CloseHandle(handle);
        }
    }
#else
    found.exists = ::stat(path.c_str(), &found.status) == 0;
    found.regular = found.exists && S_ISREG(found.status.st_mode);
#endif
    return found;
}

// Whether an existing file may be opened for writing, without changing it.
bool MayWrite(const std::string& path)
{
#if defined(_WIN32)
    const int fd = ::_open(path.c_str(), _O_WRONLY | _O_BINARY);
    if (fd < 0) return false;
    ::_close(fd);
#else
    const int fd = ::open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY);
    if (fd < 0) return false;
    ::close(fd);
#endif
    return true;
}

std::string RandomName()
{
    static std::atomic<uint64_t> counter{0};
    uint64_t seed = static_cast<uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
    try {
        seed ^= static_cast<uint64_t>(std::random_device()()) << 32;
    } catch (...) {
        // No random device: the clock and the counter still tell temporaries apart.
    }
    std::mt19937_64 random(seed + counter.fetch_add(1, std::memory_order_relaxed));
    static const char kLetters[] = "abcdefghijklmnopqrstuvwxyz0123456789";
    std::string name(6, 'a');
    for (char& c : name) c = kLetters[random() % (sizeof kLetters - 1)];
    return name;
}

// Creates a new, empty file named `prefix` + random letters + ".tmp" and returns its name; "" when
// none can be made. The file gets the permissions (and, where allowed, the owner) of `like`, or
// those a new file of the process gets.
std::string CreateTemporary(const std::string& prefix, const Found& like)
{
    for (int attempt = 0; attempt < 100; ++attempt) {
        const std::string name = prefix + RandomName() + ".tmp";
#if defined(_WIN32)
        (void)like;
        const int fd =
            ::_open(name.c_str(), _O_WRONLY | _O_CREAT | _O_EXCL | _O_BINARY, _S_IREAD | _S_IWRITE);
        if (fd >= 0) {
            ::_close(fd);
            return name;
        }
#else
        const int fd = ::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd >= 0) {
            if (like.exists) {
                if (::fchown(fd, like.status.st_uid, like.status.st_gid) != 0) {
                    // Only the owner's group or a privileged process may: the file stays the user's.
                }
                ::fchmod(fd, like.status.st_mode & 07777);
            }
            ::close(fd);
            return name;
        }
#endif
        if (errno != EEXIST) break;
    }
    return "";
}

// Syncs a closed file's data to the disk.
bool SyncFile(const std::string& path)
{
#if defined(_WIN32)
    const int fd = ::_open(path.c_str(), _O_WRONLY | _O_BINARY);
    if (fd < 0) return false;
    const bool synced = ::_commit(fd) == 0;
    return ::_close(fd) == 0 && synced;
#else
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    const bool synced = ::fsync(fd) == 0;
    return ::close(fd) == 0 && synced;
#endif
}

// Renames `from` over `to`, atomically, and makes the new name last.
bool Replace(const std::string& from, const std::string& to)
{
#if defined(_WIN32)
    return ::MoveFileExA(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != 0;
#else
    if (std::rename(from.c_str(), to.c_str()) != 0) return false;
    // The directory entry too: after a power cut the output is the new file, not the old one.
    const fs::path directory = fs::path(to).parent_path();
    const int fd = ::open(directory.empty() ? "." : directory.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd >= 0) {
        ::fsync(fd);
        ::close(fd);
    }
    return true;
#endif
}

// Copies the whole of `from` into the open stream `to`.
bool CopyInto(const std::string& from, std::ostream& to)
{
    std::ifstream in(from, std::ios::binary);
    if (!in.is_open()) return false;
    char buffer[65536];
    while (in.read(buffer, sizeof buffer) || in.gcount() > 0) to.write(buffer, in.gcount());
    return !in.bad() && !to.fail();
}

}  // namespace

OutputFile::OutputFile(const String& path, Use use) : m_path(path), m_target(path.str())
{
    // A device or pipe is opened by the name given: the links of /dev/stdout lead to no name.
    const Found found = Examine(m_target);
    m_direct = found.exists && !found.regular;
    if (!m_direct) m_target = FollowLinks(m_target);
    if (m_direct && use == Use::kReadBack) {
        // The run reads its output back, which a device or pipe cannot give: written first into
        // a temporary file, copied to the output at the end. The output is opened now, as it
        // would be for writing directly, so that an output that cannot be written fails at once.
        m_output.open(m_target, std::ios::out | std::ios::trunc | std::ios::binary);
        if (!m_output.is_open()) VELTRA_RAISE("Cannot open file: ", m_path);
        std::error_code error;
        const fs::path directory = fs::temp_directory_path(error);
        m_writePath = CreateTemporary((directory / "veltra-").string(), Found());
        if (error || m_writePath.empty()) VELTRA_RAISE("Cannot create a temporary file for: ", m_path);
        m_direct = false;
        m_staged = true;
    } else if (m_direct) {
        m_writePath = m_target;
    } else {
        // The earlier file must be one the user may write, as it must be to be rewritten in place.
        if (found.exists && !MayWrite(m_target)) VELTRA_RAISE("Cannot open file: ", m_path);
        const fs::path target(m_target);
        const fs::path prefix = target.parent_path() / ("." + target.filename().string() + ".");
        m_writePath = CreateTemporary(prefix.string(), found);
        if (m_writePath.empty()) {
            // A directory the user may not write, holding a file they may: the file stays as it
            // is, rather than be rewritten in place, where an interruption would destroy it.
            if (found.exists) VELTRA_RAISE("Cannot create a temporary file for: ", m_path);
            VELTRA_RAISE("Cannot open file: ", m_path);
        }
    }
    m_buffer.resize(kBufferSize);
    m_stream.rdbuf()->pubsetbuf(m_buffer.data(), static_cast<std::streamsize>(m_buffer.size()));
    m_stream.open(m_writePath, std::ios::out | std::ios::trunc);
    if (!m_stream.is_open()) {
        Discard();
        VELTRA_RAISE("Cannot open file: ", m_path);
    }
    m_stream.imbue(std::locale::classic());
}

namespace {

thread_local bool t_threadEnding = false;

}  // namespace

void OutputFile::SetThreadEnding(bool ending) noexcept
{
    t_threadEnding = ending;
}

OutputFile::~OutputFile()
{
    if (m_done) return;
    if (t_threadEnding) {
        Discard();
        return;
    }
    try {
        Finish(false);
    } catch (...) {
        Discard();
    }
}

void OutputFile::CheckWritten()
{
    if (!m_stream.fail()) return;
    m_failed = true;
    VELTRA_RAISE("Cannot write file: ", m_path);
}

void OutputFile::Close()
{
    if (m_stream.is_open()) m_stream.close();
    CheckWritten();
}

void OutputFile::Reopen()
{
    m_stream.clear();
    m_stream.open(m_writePath, std::ios::out | std::ios::app);
    if (!m_stream.is_open()) VELTRA_RAISE("Cannot open file: ", m_path);
    m_stream.imbue(std::locale::classic());
}

void OutputFile::Commit()
{
    Finish(true);
}

void OutputFile::Finish(bool checked)
{
    m_done = true;
    if (m_stream.is_open()) m_stream.close();
    if (m_stream.fail()) m_failed = true;
    if (m_direct) {
        if (m_failed && checked) VELTRA_RAISE("Cannot write file: ", m_path);
        return;
    }
    bool placed = !m_failed && SyncFile(m_writePath);
    if (placed && m_staged) {
        placed = CopyInto(m_writePath, m_output);
        m_output.close();
        placed = placed && !m_output.fail();
        std::remove(m_writePath.c_str());
    } else if (placed) {
        placed = Replace(m_writePath, m_target);
    }
    if (placed) return;
    Discard();
    if (checked) VELTRA_RAISE("Cannot write file: ", m_path);
}

void OutputFile::Discard() noexcept
{
    m_done = true;
    if (m_stream.is_open()) m_stream.close();
    if (m_output.is_open()) m_output.close();
    if (!m_direct && !m_writePath.empty()) std::remove(m_writePath.c_str());
}

}  // namespace veltra
