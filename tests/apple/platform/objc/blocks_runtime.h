// GNUstep's headers ask for this one.
#pragma once

#include <Block.h>
