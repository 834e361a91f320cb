// std::this_thread::sleep_for's runtime function, which Visual C++ links
// statically from its import library msvcprt.lib (stl/src/sharedmutex.cpp),
// in an object of its own as there.
#include <windows.h>

extern "C" void __stdcall _Thrd_sleep_for(unsigned long ms) noexcept { Sleep(ms); }
