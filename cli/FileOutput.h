// FileOutput: how the command writes the files a user keeps (--json, --html), and what it knows
// of an output the library wrote.
//
// A file is written whole beside its target and renamed over it once synced, as the library
// writes its outputs: an interruption or a failed write leaves the earlier file as it was. An
// output that is no regular file (/dev/stdout, a pipe) is written directly, and never read back.
#ifndef VELTRA_CLI_FILEOUTPUT_H
#define VELTRA_CLI_FILEOUTPUT_H

#include <cstdint>
#include <string>

namespace veltra::cli {

// Replaces the file at `path` (its links followed, its permissions kept) with `text`; false, the
// earlier file kept, when it cannot.
bool WriteWhole(const std::string& path, const std::string& text);

// Which file a path names, and as of when: equal stamps before and after a call mean the call
// left the file as it was (the library replaces an output by another file).
struct FileStamp {
    bool regular = false;  // an existing regular file
    uint64_t device = 0, file = 0;
    int64_t modified = 0;
    uintmax_t size = 0;
    bool operator==(const FileStamp& o) const
    {
        return regular == o.regular && device == o.device && file == o.file && modified == o.modified &&
               size == o.size;
    }
};
FileStamp StampOf(const std::string& path);

}  // namespace veltra::cli

#endif  // VELTRA_CLI_FILEOUTPUT_H
