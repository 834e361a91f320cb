// The Windows SDK's version header, as Windows 10's SDK numbers itself
// (Boost reads it to know that the SDK has the API partitions).
#ifndef KS_MSVC_NTVERP_H_
#define KS_MSVC_NTVERP_H_

#define VER_PRODUCTMAJORVERSION 10
#define VER_PRODUCTMINORVERSION 0
#define VER_PRODUCTBUILD 10011

#endif  // KS_MSVC_NTVERP_H_
