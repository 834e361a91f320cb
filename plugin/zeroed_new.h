// Objects built in storage that is zeroed first, so that members a
// constructor leaves without an initial value start at zero.
#ifndef KESTREL_PLUGIN_ZEROED_NEW_H_
#define KESTREL_PLUGIN_ZEROED_NEW_H_

#include <cstring>
#include <new>

namespace kestrel {

// Allocates with the ordinary allocation function, zeroes, constructs. The
// object is destroyed and freed with a plain `delete` (through a virtual
// destructor, too): allocation and deallocation functions match.
template <typename T>
T* newZeroed() {
  void* storage = ::operator new(sizeof(T));
  std::memset(storage, 0, sizeof(T));
  try {
    return ::new (storage) T();
  } catch (...) {
    ::operator delete(storage);
    throw;
  }
}

}  // namespace kestrel

#endif  // KESTREL_PLUGIN_ZEROED_NEW_H_
