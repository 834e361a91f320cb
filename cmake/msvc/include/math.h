// Wine's math.h completed to the UCRT's. Missing declarations of functions
// that ucrtbase.dll exports are added; long double is double in this ABI, so
// each long double function is an inline over the double one, as in the
// UCRT's own header; the classification macros give way, in C++, to the
// overloads the UCRT's math.h declares (Microsoft's STL adds the rest).
#ifndef KS_MSVC_MATH_H_
#define KS_MSVC_MATH_H_

#include_next <math.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef float float_t;
typedef double double_t;

_ACRTIMP double __cdecl hypot(double, double);
_ACRTIMP float __cdecl hypotf(float, float);
_ACRTIMP double __cdecl erfc(double);
_ACRTIMP float __cdecl erfcf(float);
_ACRTIMP double __cdecl fma(double, double, double);
_ACRTIMP float __cdecl fmaf(float, float, float);
_ACRTIMP double __cdecl nan(const char*);
_ACRTIMP float __cdecl nanf(const char*);
_ACRTIMP double __cdecl nexttoward(double, double);
_ACRTIMP float __cdecl nexttowardf(float, double);
_ACRTIMP short __cdecl _ldclass(double);
_ACRTIMP int __cdecl _ldsign(double);

static __inline long double __cdecl fmal(long double x, long double y, long double z) {
  return fma((double)x, (double)y, (double)z);
}
static __inline long double __cdecl frexpl(long double x, int* e) { return frexp((double)x, e); }
static __inline long double __cdecl ldexpl(long double x, int e) { return ldexp((double)x, e); }
static __inline long double __cdecl modfl(long double x, long double* i) {
  return modf((double)x, (double*)i);
}
static __inline long double __cdecl nanl(const char* tag) { return nan(tag); }
static __inline long double __cdecl remquol(long double x, long double y, int* q) {
  return remquo((double)x, (double)y, q);
}
static __inline long double __cdecl scalbnl(long double x, int e) { return scalbn((double)x, e); }
static __inline long double __cdecl scalblnl(long double x, long e) {
  return scalbln((double)x, e);
}
static __inline int __cdecl ilogbl(long double x) { return ilogb((double)x); }
static __inline long __cdecl lrintl(long double x) { return lrint((double)x); }
static __inline long __cdecl lroundl(long double x) { return lround((double)x); }
static __inline long long __cdecl llrintl(long double x) { return llrint((double)x); }
static __inline long long __cdecl llroundl(long double x) { return llround((double)x); }

// clang-format off
#define KS_LD1(f) \
  static __inline long double __cdecl f##l(long double x) { return f((double)x); }
#define KS_LD2(f) \
  static __inline long double __cdecl f##l(long double x, long double y) { \
    return f((double)x, (double)y); \
  }
KS_LD1(acos) KS_LD1(acosh) KS_LD1(asin) KS_LD1(asinh) KS_LD1(atan) KS_LD1(atanh) KS_LD1(cbrt)
KS_LD1(ceil) KS_LD1(cos) KS_LD1(cosh) KS_LD1(erf) KS_LD1(erfc) KS_LD1(exp) KS_LD1(exp2)
KS_LD1(expm1) KS_LD1(fabs) KS_LD1(floor) KS_LD1(lgamma) KS_LD1(log) KS_LD1(log10) KS_LD1(log1p)
KS_LD1(log2) KS_LD1(logb) KS_LD1(nearbyint) KS_LD1(rint) KS_LD1(round) KS_LD1(sin) KS_LD1(sinh)
KS_LD1(sqrt) KS_LD1(tan) KS_LD1(tanh) KS_LD1(tgamma) KS_LD1(trunc)
KS_LD2(atan2) KS_LD2(copysign) KS_LD2(fdim) KS_LD2(fmax) KS_LD2(fmin) KS_LD2(fmod) KS_LD2(hypot)
KS_LD2(nextafter) KS_LD2(nexttoward) KS_LD2(pow) KS_LD2(remainder)
#undef KS_LD1
#undef KS_LD2
// clang-format on

#ifdef __cplusplus
}

#undef fpclassify
#undef signbit
#undef isinf
#undef isnan
#undef isnormal
#undef isfinite
extern "C++" {
inline int fpclassify(float x) noexcept { return _fdclass(x); }
inline int fpclassify(double x) noexcept { return _dclass(x); }
inline int fpclassify(long double x) noexcept { return _ldclass((double)x); }
inline bool signbit(float x) noexcept { return _fdsign(x) != 0; }
inline bool signbit(double x) noexcept { return _dsign(x) != 0; }
inline bool signbit(long double x) noexcept { return _ldsign((double)x) != 0; }
}
#endif

#endif  // KS_MSVC_MATH_H_
