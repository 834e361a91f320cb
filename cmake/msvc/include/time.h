// Wine's time.h with C11's timespec and timespec_get (and the UCRT's
// _timespec64) and the secure localtime_s and gmtime_s, as the UCRT's time.h
// gives them: inline over ucrtbase.dll's 64-bit functions.
#ifndef KS_MSVC_TIME_H_
#define KS_MSVC_TIME_H_

#include_next <time.h>

#ifdef __cplusplus
extern "C" {
#endif
struct _timespec64 {
  __time64_t tv_sec;
  long tv_nsec;
};
struct timespec {
  time_t tv_sec;
  long tv_nsec;
};
#define TIME_UTC 1
_ACRTIMP int __cdecl _timespec64_get(struct _timespec64* ts, int base);
static __inline int __cdecl timespec_get(struct timespec* ts, int base) {
  return _timespec64_get((struct _timespec64*)ts, base);
}
_ACRTIMP errno_t __cdecl _gmtime64_s(struct tm* result, const __time64_t* time);
static __inline errno_t __cdecl localtime_s(struct tm* result, const time_t* time) {
  return _localtime64_s(result, time);
}
static __inline errno_t __cdecl gmtime_s(struct tm* result, const time_t* time) {
  return _gmtime64_s(result, time);
}
#ifdef __cplusplus
}
#endif

#endif  // KS_MSVC_TIME_H_
