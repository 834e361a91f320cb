// LibraryObject: the one way the libraries we ship keep an object for the
// whole library (a tally, a registry) rather than for one session.
//
// In a Windows DLL the object is destroyed with the DLL: when a host frees
// the library, so that loading and freeing it again and again leaves nothing
// behind (dll_load_elsewhere_and_cycle, docs/windows.md), or at the process's
// end. Either way no other thread runs its code any more: a host frees the
// library only once the threads that run its code have ended, and at the
// process's end Windows ends every other thread before it runs any DLL's
// static destructors.
//
// Anywhere else (a program, Linux) static destructors run in exit() while
// detached threads may still use the object, so there it is never destroyed.
#ifndef KESTREL_PLUGIN_LIBRARY_OBJECT_H_
#define KESTREL_PLUGIN_LIBRARY_OBJECT_H_

#if defined(_WIN32)
#include <cstdint>
#include <cstring>

// The first byte of the image of the module this code is linked into.
extern "C" const unsigned char __ImageBase[];
#endif

namespace kestrel {

// One default-constructed T per library, made on first use (thread-safe).
template <typename T>
class LibraryObject {
 public:
  LibraryObject() = delete;

  static T& get() {
    static T* const object = new T;
#if defined(_WIN32)
    static const Ender ender{object};
#endif
    return *object;
  }

#if defined(_WIN32)
 private:
  // Deletes the object when the module's static destructors run, if the
  // module is a DLL: the IMAGE_FILE_DLL bit (0x2000) of the Characteristics
  // of its own PE file header, 22 bytes past the offset at 0x3C.
  struct Ender {
    T* object;
    ~Ender() {
      std::uint32_t header = 0;
      std::uint16_t characteristics = 0;
      std::memcpy(&header, __ImageBase + 0x3C, sizeof(header));
      std::memcpy(&characteristics, __ImageBase + header + 22, sizeof(characteristics));
      if ((characteristics & 0x2000) != 0) delete object;
    }
  };
#endif
};

}  // namespace kestrel

#endif  // KESTREL_PLUGIN_LIBRARY_OBJECT_H_
