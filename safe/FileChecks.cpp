#include "safe/FileChecks.h"

#include <filesystem>
#include <system_error>

namespace veltra {

namespace {

// True when `path` names something that is not a regular file; false when it is one or names
// nothing (or cannot be examined, which the open that follows reports).
bool ExistsIrregular(const String& path)
{
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(path.str(), error);
    return !error && std::filesystem::exists(status) && !std::filesystem::is_regular_file(status);
}

}  // namespace

void RequireRereadable(const String& path)
{
    if (ExistsIrregular(path)) VELTRA_RAISE("Not a regular file, cannot read it twice: ", path);
}

void RefuseOverwrite(const String& output, const String& input)
{
    std::error_code error;
    if (std::filesystem::equivalent(output.str(), input.str(), error))
        VELTRA_RAISE("Output would overwrite an input file: ", output);
}

}  // namespace veltra
