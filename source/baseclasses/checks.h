/// @file
/// The argument check that filter code of the published base classes uses.

#ifndef ZARNOW_BASECLASSES_CHECKS_H
#define ZARNOW_BASECLASSES_CHECKS_H

#include <windows.h>

/// Leaves the calling function with `ret` when `p` is null. A block, for callers that write no semicolon behind it.
#define CheckPointer(p, ret) \
    {                        \
        if ((p) == nullptr)  \
            return (ret);    \
    }

#endif
