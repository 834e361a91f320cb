// The Windows SDK spells it so; its name is windows.h in Wine.
#include <windows.h>
