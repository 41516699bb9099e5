// What libc++ asks of the platform's locale functions; musl has most of them.
#pragma once

#include <locale.h>
#include <stddef.h>
#include <stdlib.h>
#include <wchar.h>
