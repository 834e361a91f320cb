// Wine's windef.h makes `inline` a macro for Visual C++ (its C code needs
// that); in C++ it is a keyword, and Microsoft's STL refuses a macroized
// keyword, as the Windows SDK's headers never define one.
#ifndef KS_MSVC_WINDEF_H_
#define KS_MSVC_WINDEF_H_

#include_next <windef.h>

#ifdef __cplusplus
#undef inline
#endif

#endif  // KS_MSVC_WINDEF_H_
