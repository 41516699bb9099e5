// The runtime's types.
#pragma once

#include <stddef.h>

typedef struct objc_class *Class;
struct objc_object {
  Class isa;
};
typedef struct objc_object *id;
typedef struct objc_selector *SEL;
typedef id (*IMP)(id, SEL, ...);
typedef bool BOOL;
#define OBJC_BOOL_DEFINED
#define YES __objc_yes
#define NO __objc_no
#define nil ((id)0)
#define Nil ((Class)0)
