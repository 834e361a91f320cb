// The Windows SDK's synchapi.h stands alone; Wine's needs the base types first.
#include <windows.h>
