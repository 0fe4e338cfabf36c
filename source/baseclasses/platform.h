/// @file
/// The platform's headers in the order and with the settings they need.

#ifndef ZARNOW_BASECLASSES_PLATFORM_H
#define ZARNOW_BASECLASSES_PLATFORM_H

// dshow.h brings strsafe.h, which would otherwise make names of the C library unusable, also for <string>.
#ifndef STRSAFE_NO_DEPRECATE
#define STRSAFE_NO_DEPRECATE
#endif

#include <windows.h>
#include <tchar.h>
#include <dshow.h>

#endif
