// Platform seams of the simulated counter: reading a file whose name arrives
// in GBK, and turning GBK text into UTF-8 for messages. Everything that
// differs between Windows and Linux in broker/ stays behind this header.
//
// Stateless; safe to call from any thread.
#ifndef KESTREL_BROKER_SIM_PLATFORM_H_
#define KESTREL_BROKER_SIM_PLATFORM_H_

#include <cstddef>
#include <string>

namespace xti {
namespace sim {

constexpr std::size_t kMaxFile = std::size_t{16} << 20;

enum class ReadStatus { kOk, kMissing, kUnreadable, kTooLarge };

// Reads the whole file at `path` into `text`; a file larger than kMaxFile is
// not read to its end (kTooLarge). On Windows `path` is GBK. On
// Linux it is tried as given, and if no such file exists, once more after
// conversion from GBK to UTF-8 (the plug-in builds the path in GBK; Linux
// file names are UTF-8).
ReadStatus readWholeFile(const std::string& path, std::string& text);

// Appends `line` and a line break to the file at `path` (UTF-8), creating
// it; false when it cannot be written.
bool appendLine(const std::string& path, const std::string& line);

// `text` read as GBK, in UTF-8. Pure ASCII passes unchanged; bytes that are
// not GBK become '?'.
std::string gbkToUtf8(const std::string& text);

// The value of the environment variable `name`, or empty.
std::string environmentValue(const char* name);

}  // namespace sim
}  // namespace xti

#endif  // KESTREL_BROKER_SIM_PLATFORM_H_
