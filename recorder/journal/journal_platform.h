// The journal's platform seam: files by UTF-8 path, shared libraries, the
// process. Everything that differs between Windows and Linux in the recorders
// and the tools stays behind this header.
#ifndef KESTREL_RECORDER_JOURNAL_JOURNAL_PLATFORM_H_
#define KESTREL_RECORDER_JOURNAL_JOURNAL_PLATFORM_H_

#include <cstdint>
#include <cstdio>
#include <string>

#include "recorder/journal/journal_export.h"

namespace kestrel {
namespace journal {

// fopen with a UTF-8 path.
KS_JOURNAL_API std::FILE* openFile(const std::string& path, const char* mode);
// The text of errno (file operations).
KS_JOURNAL_API std::string lastErrorText();

// Opens the shared library at `path` (UTF-8) for good; null with `error` set
// when it cannot. On Windows the libraries it needs are looked for in its own
// directory first, as $ORIGIN makes it on Linux.
KS_JOURNAL_API void* openLibrary(const std::string& path, std::string& error);
KS_JOURNAL_API void* findSymbol(void* library, const char* name);

// Where the real library behind a recorder is: the value of the environment
// variable `variable` when it is set and not empty, otherwise the file of the
// module that holds `address` with "_real" before its extension
// (XtTraderApi.dll -> XtTraderApi_real.dll).
KS_JOURNAL_API std::string realLibraryPath(const void* address, const char* variable);

// An environment variable as UTF-8; empty when unset.
KS_JOURNAL_API std::string environmentValue(const char* name);

std::string programPath();
uint32_t processId();

// True once the process has begun to exit on Windows, where its other threads
// (the journal's writer among them) are already gone; always false on Linux,
// where exit handlers run while every thread still lives.
bool processExiting();
void markProcessExiting();

}  // namespace journal
}  // namespace kestrel

#endif  // KESTREL_RECORDER_JOURNAL_JOURNAL_PLATFORM_H_
