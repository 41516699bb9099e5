#include <objc/runtime.h>
