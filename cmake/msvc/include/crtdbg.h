// Wine's crtdbg.h with the report modes and files of the UCRT's; in a
// release build (no _DEBUG) the report calls do nothing, as there.
#ifndef KS_MSVC_CRTDBG_H_
#define KS_MSVC_CRTDBG_H_

#include_next <crtdbg.h>

typedef void* _HFILE;
#define _CRTDBG_MODE_FILE 0x1
#define _CRTDBG_MODE_DEBUG 0x2
#define _CRTDBG_MODE_WNDW 0x4
#define _CRTDBG_REPORT_MODE -1
#define _CRTDBG_INVALID_HFILE ((_HFILE)(intptr_t)-1)
#define _CRTDBG_HFILE_ERROR ((_HFILE)(intptr_t)-2)
#define _CRTDBG_FILE_STDOUT ((_HFILE)(intptr_t)-4)
#define _CRTDBG_FILE_STDERR ((_HFILE)(intptr_t)-5)
#define _CRTDBG_REPORT_FILE ((_HFILE)(intptr_t)-6)
#ifndef _DEBUG
#define _CrtSetReportFile(type, file) ((_HFILE)0)
#endif

#endif  // KS_MSVC_CRTDBG_H_
