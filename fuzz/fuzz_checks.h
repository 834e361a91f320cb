// The properties the fuzz targets check, one function per target, shared by
// the libFuzzer programs (fuzz/*_fuzzer.cc) and the regression test that
// replays every finding and the seed corpora in the ordinary suite
// (tests/fuzz_regression_test.cc).
//
// Each check takes arbitrary bytes, never crashes on them, and reports a
// broken property through the failure handler: by default it prints the
// message and aborts, which libFuzzer records as a finding; a test installs
// a handler that fails the test instead.
#ifndef KESTREL_FUZZ_FUZZ_CHECKS_H_
#define KESTREL_FUZZ_FUZZ_CHECKS_H_

#include <cstddef>
#include <cstdint>
#include <string>

namespace kestrel {
namespace fuzz {

using FailureHandler = void (*)(const std::string& message);
// Null restores the default (print and abort). Not thread-safe: set it
// before running checks.
void setFailureHandler(FailureHandler handler);
// Hands `message` to the handler (fuzz/fuzz_failure.cc).
void reportFailure(const std::string& message);
// The bytes in hexadecimal, for messages.
std::string hexOf(const void* data, std::size_t size);

// The longest input a check reads, where it has one: its fuzz target makes
// no longer inputs (fuzz/CMakeLists.txt), which would only spend mutations on
// bytes nothing reads.
constexpr std::size_t kVendorTimeInputSize = 16;
std::size_t vendorRecordsInputSize();

// vendorTimeToMillis equals the reference that always parses with Boost
// (tests/support/vendor_time_reference.h). The first 8 bytes are
// the date text, the next 8 the time text, each in a heap block of exactly 8
// bytes without a terminating NUL (AddressSanitizer sees any read past them);
// missing bytes are NULs.
void checkVendorTime(const uint8_t* data, std::size_t size);

// textToInt equals a reference built on std::strtoll: base 10, leading
// C-locale white space, an optional sign, digits up to the first non-digit;
// -1 without a digit or outside 32 bits. The bytes are the whole text, NULs
// included.
void checkTextToInt(const uint8_t* data, std::size_t size);

// Every vendor record conversion and push handler of XtTraderSpi on records
// made from the bytes (copied into zeroed records of the right size, no NUL
// required anywhere): the order, deal, order-error and cancel-error pushes,
// the five query replies with success and failure errors, the account status.
// The host callback copies every record it receives and checks the value
// ranges of the mapped codes; the registry and the books are pre-filled so
// that known and unknown ids both occur.
void checkVendorRecords(const uint8_t* data, std::size_t size);

// CodeConvert::utf8_to_gbk, gbk_to_utf8 and unicode_to_gbk on arbitrary
// bytes: bounded output, and for valid UTF-8 whose every character GBK holds
// the round trip gives the text back; unicode_to_gbk agrees with utf8_to_gbk
// on the same valid text.
void checkCodeConvert(const uint8_t* data, std::size_t size);

// The simulated counter's configuration parser (broker/sim_config.h) on
// arbitrary text: a failure names the file and a line within the text; a
// success names no account it does not define. Built with the counter's code
// (fuzz/config_check.cc).
void checkCounterConfig(const uint8_t* data, std::size_t size);

// The journal's reader (recorder/journal/journal_format.h) on arbitrary bytes,
// as a whole file (entries inside it and in order; a stop names an offset
// inside it) and as one entry's payload in a well-formed file (read back
// whole); every entry's values print or are refused with FormatError. Built
// with the journal's code (fuzz/journal_check.cc).
void checkJournal(const uint8_t* data, std::size_t size);

}  // namespace fuzz
}  // namespace kestrel

#endif  // KESTREL_FUZZ_FUZZ_CHECKS_H_
