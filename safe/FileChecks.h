// FileChecks: what a run makes sure of before it reads or writes its files.
//
// A training run and a batch evaluation count the newlines of an input before reading it line by
// line: such files must be regular files, which can be read twice (a pipe would be drained by the
// count, a device may never end). A run never opens for writing a file that it is about to read.
// Paths are compared as files: links and other spellings of one file are that file.
#ifndef VELTRA_SAFE_FILECHECKS_H
#define VELTRA_SAFE_FILECHECKS_H

#include <ostream>

#include "safe/SmartString.h"

namespace veltra {

// Raises "Not a regular file, cannot read it twice: <path>" when `path` names something that
// exists and is not a regular file. A path that names nothing is left to the open that follows.
void RequireRereadable(const String& path);
// Raises "Output would overwrite an input file: <output>" when `output` and `input` name one file.
void RefuseOverwrite(const String& output, const String& input);

}  // namespace veltra

#endif  // VELTRA_SAFE_FILECHECKS_H
