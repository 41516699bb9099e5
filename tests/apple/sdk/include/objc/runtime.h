// The runtime's types; none of its functions is used.
#pragma once

#include <objc/objc.h>

typedef struct objc_method *Method;
typedef struct objc_ivar *Ivar;
typedef struct objc_category *Category;
