// The vendor's records as the journal reads what it holds of them: the
// journal keeps a vendor record as the bytes that crossed the boundary, and
// the rows of plugin/xt_record_layout.h name the fields in those bytes.
#ifndef KESTREL_RECORDER_JOURNAL_VENDOR_LAYOUT_H_
#define KESTREL_RECORDER_JOURNAL_VENDOR_LAYOUT_H_

#include <cstddef>
#include <iterator>
#include <type_traits>

#include "plugin/xt_record_layout.h"

namespace kestrel {
namespace journal {

using LayoutField = xti::layout::Field;

struct Layout {
  const char* name;
  std::size_t size;
  const LayoutField* begin;
  const LayoutField* end;
};

// VendorLayout<R>::value is true for the vendor's records; get() is its layout.
template <typename R>
struct VendorLayout : std::false_type {};

#define KS_JOURNAL_VENDOR_RECORD(Name, size)                                                \
  template <>                                                                               \
  struct VendorLayout<xti::Name> : std::true_type {                                         \
    static Layout get() {                                                                   \
      using Rows = xti::layout::Of<xti::Name>;                                              \
      return Layout{Rows::kName, size, std::begin(Rows::kFields), std::end(Rows::kFields)}; \
    }                                                                                       \
  };
XTI_RECORD_LAYOUTS(KS_JOURNAL_VENDOR_RECORD)
#undef KS_JOURNAL_VENDOR_RECORD

}  // namespace journal
}  // namespace kestrel

#endif  // KESTREL_RECORDER_JOURNAL_VENDOR_LAYOUT_H_
