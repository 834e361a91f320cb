// The boundary between the vendor library's threads and the plug-in.
#ifndef KESTREL_SPI_HANDLER_GUARD_H_
#define KESTREL_SPI_HANDLER_GUARD_H_

#include <utility>

namespace kestrel {

// Runs one vendor callback's work. Whatever it throws (in practice the host's
// callback, or an allocation failure) ends here: unwinding into the vendor
// library's thread would terminate the host process or corrupt the library.
template <typename Work>
void runHandler(Work&& work) noexcept {
  try {
    std::forward<Work>(work)();
  } catch (...) {
  }
}

}  // namespace kestrel

#endif  // KESTREL_SPI_HANDLER_GUARD_H_
