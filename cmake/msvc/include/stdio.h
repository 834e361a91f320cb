// Wine's stdio.h with the C99 scanf functions the UCRT's stdio.h defines
// inline over ucrtbase.dll's __stdio_common_vsscanf / _vfscanf, and
// _get_stream_buffer_pointers, through which std::basic_filebuf shares a
// FILE's buffer.
#ifndef KS_MSVC_STDIO_H_
#define KS_MSVC_STDIO_H_

#include_next <stdio.h>

#ifdef __cplusplus
extern "C" {
#endif
_ACRTIMP errno_t __cdecl _get_stream_buffer_pointers(FILE* stream, char*** base, char*** pointer,
                                                     int** count);
static __inline int __cdecl vfscanf(FILE* stream, const char* format, va_list args) {
  return __stdio_common_vfscanf(_CRT_INTERNAL_LOCAL_SCANF_OPTIONS, stream, format, NULL, args);
}
static __inline int __cdecl vscanf(const char* format, va_list args) {
  return vfscanf(stdin, format, args);
}
static __inline int __cdecl vsscanf(const char* buffer, const char* format, va_list args) {
  return __stdio_common_vsscanf(_CRT_INTERNAL_LOCAL_SCANF_OPTIONS, buffer, (size_t)-1, format, NULL,
                                args);
}
#ifdef __cplusplus
}
#endif

#endif  // KS_MSVC_STDIO_H_
