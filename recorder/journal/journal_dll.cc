// Windows only: tells the journal when the process exits, because by then the
// process's other threads, the journal's writer among them, are gone.
#include <windows.h>

#include "recorder/journal/journal_platform.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID reserved) {
  // A non-null `reserved` on detach means the process is exiting (rather than
  // the library being unloaded); DllMain runs before the library's exit handlers.
  if (reason == DLL_PROCESS_DETACH && reserved != nullptr) kestrel::journal::markProcessExiting();
  return TRUE;
}
