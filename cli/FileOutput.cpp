#include "cli/FileOutput.h"

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <random>
#include <system_error>

#if defined(_WIN32)
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

}  // namespace

bool WriteWhole(const std::string& path, const std::string& text)
{
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
    const uint64_t random =
        std::random_device()() ^
        static_cast<uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
    const fs::path temporary = target.parent_path() / ("." + target.filename().string() + "." +
                                                       std::to_string(random % 1000000000) + ".tmp");
    std::FILE* file = std::fopen(temporary.string().c_str(), "wb");
    if (!file) return false;
    bool written = WriteAndClose(file, text, true);
    if (written && fs::exists(status)) fs::permissions(temporary, status.permissions(), error);
    if (written) fs::rename(temporary, target, error);
    if (written && !error) return true;
    fs::remove(temporary, error);
    return false;
}

FileStamp StampOf(const std::string& path)
{
    FileStamp stamp;
#if defined(_WIN32)
    std::error_code error;
    stamp.regular = fs::is_regular_file(path, error);
    if (!stamp.regular) return stamp;
    stamp.modified = static_cast<int64_t>(fs::last_write_time(path, error).time_since_epoch().count());
    stamp.size = fs::file_size(path, error);
#else
    struct stat status = {};
    stamp.regular = ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
    if (!stamp.regular) return stamp;
    stamp.device = static_cast<uint64_t>(status.st_dev);
    stamp.file = static_cast<uint64_t>(status.st_ino);
    stamp.modified = static_cast<int64_t>(status.st_mtim.tv_sec) * 1000000000 + status.st_mtim.tv_nsec;
    stamp.size = static_cast<uintmax_t>(status.st_size);
#endif
    return stamp;
}

}  // namespace veltra::cli
