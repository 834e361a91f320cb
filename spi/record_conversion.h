// Conversion of the vendor's records into the host's records, and the small
// rules every conversion shares.
//
// All functions are thread-safe and never throw on bad input: unknown codes
// take the "any other" value, unknown exchanges give -1, unparsable dates 0.
// Vendor text fields are read up to their NUL but never past the end of the
// field, so a record without NULs is still read safely.
#ifndef KESTREL_SPI_RECORD_CONVERSION_H_
#define KESTREL_SPI_RECORD_CONVERSION_H_

#include <cstdint>
#include <string>

#include "plugin/host_records.h"
#include "plugin/xt_records.h"

namespace kestrel {

// --- Values the plug-in writes into host records ------------------------------

constexpr int kPushRequestId = -1;          // request number of every push and order event
constexpr int32_t kInstrumentKind = 1;      // CodeId::kind of all but the position detail
constexpr int32_t kHeaderCodeA = 0;         // AccountHeader::codeA of every reported record
constexpr int32_t kHeaderCodeB = 1;         // AccountHeader::codeB of every reported record
constexpr int32_t kSideSet = 1;             // position side when the vendor's side flag is set
constexpr int32_t kSideClear = 2;           // ... when it is clear
constexpr int64_t kLoginStateLoggedIn = 1;  // LoginReply::loginState after a login
constexpr int32_t kLoginKind = 2;           // LoginReply::loginKind after a login

// --- Shared rules ------------------------------------------------------------

// Vendor character code -> host code. The one mapping table of the plug-in:
//   priceType  '1' -> 2 (any price), anything else -> 1 (limit)
//   offsetFlag '0' -> 1, '1' -> 4, '3' -> 5, '4' -> 6, anything else -> 0
//   hedgeFlag  '1' -> 1, '2' -> 2, '3' -> 3, anything else -> 0
//   direction  '0' -> 1 (buy), anything else -> 2 (sell)
int32_t hostPriceType(int32_t vendorChar);
int32_t hostOffsetFlag(int32_t vendorChar);
int32_t hostHedgeFlag(int32_t vendorChar);
int32_t hostDirection(int32_t vendorChar);

// The host's exchange number for a vendor exchange code, -1 when the host's
// base information does not know it.
int32_t exchangeIdOf(const std::string& exchangeCode);

// The exchange code text for a host exchange number, empty when unknown.
std::string exchangeCodeOf(int32_t exchangeNumber);

// A vendor date (YYYYMMDD) and time (HH:MM:SS, only the first 8 bytes are
// read) at UTC+8, as UTC milliseconds since 1970. 0 when either text is empty
// or the pair does not parse as a valid date and time of day (years 1400 to
// 9999). Canonical texts take a fixed-format path; every other text is parsed
// by Boost date_time, whose result is the reference.
int64_t vendorTimeToMillis(const char* date, const char* time);

// A text read as a base-10 integer the way std::stol reads it (leading white
// space, an optional sign, digits up to the first non-digit). -1 when no digit
// is read or the value does not fit 32 bits.
int32_t textToInt(const std::string& text);

// std::atoi's reading, with values beyond 32 bits clamped to the nearest
// 32-bit limit instead of undefined behaviour; 0 without leading digits.
int32_t textToIntClamped(const char* text);

// Timestamp text: the current UTC milliseconds times 1000, in decimal.
std::string timestampText();

// The host's client id for an order the registry does not know: for vendor
// order id N >= 1 {"123456@xt", "N"}; below 1 {timestamp text, ""}.
void fallbackClientId(int32_t vendorOrderId, ClientId& id);

// The account header every reported record starts with, from the receiver's
// copy of the settings.
void fillAccountHeader(const SessionConfig& config, AccountHeader& header);

// A UTF-8 text in GBK, through the host's converter; an ASCII text is
// returned as it is (moved, not copied).
std::string gbkText(std::string utf8Text);

// Error texts for the host, GBK: "[msg=" + text + "]" for the status (empty
// for a null text) and the bare text for a record's statusMessage.
std::string wrappedErrorText(const char* utf8Message);
std::string bareErrorText(const char* utf8Message);

// --- Record conversions (the caller has already set the header) -------------

// A vendor order as any of the host's order records: OrderDetailRecord,
// OrderRecord (a cancelled order), OrderAcceptedRecord, OrderFilledRecord.
// The detail and the accepted record also take the two amounts.
template <typename Record>
void toOrderRecord(const xti::VendorOrder& order, Record& record);
// A rejected order: as a cancelled one, but without the exchange's order id.
void toRejectedOrderRecord(const xti::VendorOrder& order, OrderRecord& record);
void toFillRecord(const xti::VendorDeal& deal, FillRecord& record);
void toAccountFunds(const xti::VendorAccountDetail& detail, AccountFunds& record);
void toPositionRecord(const xti::VendorPosition& position, PositionRecord& record);
// Also copies the header's values from `config` into the record's own layout.
void toPositionDetailRecord(const xti::VendorPositionDetail& detail, const SessionConfig& config,
                            PositionDetailRecord& record);

}  // namespace kestrel

#endif  // KESTREL_SPI_RECORD_CONVERSION_H_
