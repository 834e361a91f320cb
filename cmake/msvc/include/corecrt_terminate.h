// The UCRT declares terminate() and its handlers here; eh.h has them here.
#include <eh.h>
