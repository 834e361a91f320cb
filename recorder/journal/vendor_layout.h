// The vendor's records by byte position, for reading what the journal holds of
// them: the journal keeps a vendor record as the bytes that crossed the
// boundary, and these tables name the fields in those bytes (the positions
// are the vendor's, pinned in plugin/xt_records.h and plugin/xt_trader_api.h).
#ifndef KESTREL_RECORDER_JOURNAL_VENDOR_LAYOUT_H_
#define KESTREL_RECORDER_JOURNAL_VENDOR_LAYOUT_H_

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "plugin/xt_trader_api.h"

namespace kestrel {
namespace journal {

struct LayoutField {
  const char* name;  // the vendor's member name
  uint16_t offset;
  uint16_t size;
  char type;  // 't' text, 'i' int32, 'd' double, 'b' bool
};

struct Layout {
  const char* name;
  std::size_t size;
  const LayoutField* begin;
  const LayoutField* end;
};

// VendorLayout<R>::value is true for the vendor's records; get() is its layout.
template <typename R>
struct VendorLayout : std::false_type {};

#define KS_JOURNAL_VENDOR_RECORD(R)              \
  template <>                                    \
  struct VendorLayout<xti::R> : std::true_type { \
    static const Layout& get();                  \
  };
KS_JOURNAL_VENDOR_RECORD(COrdinaryOrder)
KS_JOURNAL_VENDOR_RECORD(VendorAccountDetail)
KS_JOURNAL_VENDOR_RECORD(VendorOrder)
KS_JOURNAL_VENDOR_RECORD(VendorDeal)
KS_JOURNAL_VENDOR_RECORD(VendorPositionDetail)
KS_JOURNAL_VENDOR_RECORD(VendorPosition)
KS_JOURNAL_VENDOR_RECORD(VendorOrderError)
#undef KS_JOURNAL_VENDOR_RECORD

}  // namespace journal
}  // namespace kestrel

#endif  // KESTREL_RECORDER_JOURNAL_VENDOR_LAYOUT_H_
