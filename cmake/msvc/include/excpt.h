// Wine's excpt.h names the structured-exception intrinsics only for its own
// builds; the Windows SDK's names them for every Visual C++ compile (clang
// implements them inside __except filters and __finally blocks).
#ifndef KS_MSVC_EXCPT_H_
#define KS_MSVC_EXCPT_H_

#include_next <excpt.h>

#ifndef GetExceptionCode
#define GetExceptionCode _exception_code
#define GetExceptionInformation (struct _EXCEPTION_POINTERS*)_exception_info
#define AbnormalTermination _abnormal_termination
#endif

#endif  // KS_MSVC_EXCPT_H_
