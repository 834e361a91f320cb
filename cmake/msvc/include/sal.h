// Wine's sal.h with the source annotations it lacks that Microsoft's STL
// writes; like all of SAL they mean nothing to the compiler.
#ifndef KS_MSVC_SAL_H_
#define KS_MSVC_SAL_H_

#include_next <sal.h>

#ifndef _Analysis_assume_
#define _Analysis_assume_(expression)
#endif
#ifndef _Check_return_opt_
#define _Check_return_opt_
#endif
#ifndef _Field_z_
#define _Field_z_
#endif
#ifndef _Pre_satisfies_
#define _Pre_satisfies_(expression)
#endif

#endif  // KS_MSVC_SAL_H_
