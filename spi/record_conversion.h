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
#include "plugin/xt_trader_api.h"

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

// --- The host's order codes (priceType, offsetFlag, hedgeFlag, direction) -----

constexpr int32_t kHostLimitPrice = 1;
constexpr int32_t kHostAnyPrice = 2;
constexpr int32_t kHostOffsetUnknown = 0;
constexpr int32_t kHostOpen = 1;
constexpr int32_t kHostClose = 4;
constexpr int32_t kHostCloseToday = 5;
constexpr int32_t kHostCloseYesterday = 6;
constexpr int32_t kHostHedgeUnknown = 0;
constexpr int32_t kHostSpeculation = 1;
constexpr int32_t kHostArbitrage = 2;
constexpr int32_t kHostHedge = 3;
constexpr int32_t kHostBuy = 1;
constexpr int32_t kHostSell = 2;

// --- Shared rules ------------------------------------------------------------

// Vendor character code -> host code, the one mapping table of each field:
//   priceType  market -> any price, anything else -> limit
//   offsetFlag open -> open, close -> close, close today -> close today,
//              close yesterday -> close yesterday, anything else -> unknown
//   hedgeFlag  speculation, arbitrage and hedge as they are, else unknown
//   direction  buy -> buy, anything else -> sell
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

// A UTF-8 text in GBK, through the host's converter; an ASCII text is
// returned as it is (moved, not copied).
std::string gbkText(std::string utf8Text);

// Error texts for the host, GBK: "[msg=" + text + "]" for the status (empty
// for a null text) and the bare text for a record's statusMessage.
std::string wrappedErrorText(const char* utf8Message);
std::string bareErrorText(const char* utf8Message);

// --- The host's order as the vendor's -----------------------------------------

// Fills the fields of `order` (made by the vendor's constructor) that a new
// order sends: account, instrument, exchange code, price, the low 32 bits of
// the quantity, and the vendor's price type, operation and hedge codes. The
// operation comes from the direction (anything but buy sells) and the offset
// (anything but open and close today closes older positions); every order
// goes as speculation, whatever the request's hedge flag. Texts longer than
// a field are cut.
void toVendorOrder(const AccountOrderNewRequest& request, const std::string& account,
                   xti::COrdinaryOrder& order);

// --- The vendor's records as the host's ----------------------------------------
// Each fills the record's account header from the receiver's copy of the
// settings, then the record from the vendor's.

// A vendor order as any of the host's order records: OrderDetailRecord,
// OrderRecord (a cancelled order), OrderAcceptedRecord, OrderFilledRecord.
// The detail and the accepted record also take the two amounts.
template <typename Record>
void toOrderRecord(const xti::VendorOrder& order, const SessionConfig& config, Record& record);
// A rejected order: as a cancelled one, but without the exchange's order id.
void toRejectedOrderRecord(const xti::VendorOrder& order, const SessionConfig& config,
                           OrderRecord& record);
void toFillRecord(const xti::VendorDeal& deal, const SessionConfig& config, FillRecord& record);
void toAccountFunds(const xti::VendorAccountDetail& detail, const SessionConfig& config,
                    AccountFunds& record);
void toPositionRecord(const xti::VendorPosition& position, const SessionConfig& config,
                      PositionRecord& record);
// The header's values go into the record's own layout.
void toPositionDetailRecord(const xti::VendorPositionDetail& detail, const SessionConfig& config,
                            PositionDetailRecord& record);

}  // namespace kestrel

#endif  // KESTREL_SPI_RECORD_CONVERSION_H_
