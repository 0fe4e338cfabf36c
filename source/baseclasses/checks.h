/// @file
/// Argument checks and debugging macros that filter code of the published base classes uses.

#ifndef ZARNOW_BASECLASSES_CHECKS_H
#define ZARNOW_BASECLASSES_CHECKS_H

#include <windows.h>

/// Leaves the calling function with `ret` when `p` is null. A block, for callers that write no semicolon behind it.
#define CheckPointer(p, ret) \
    {                        \
        if ((p) == nullptr)  \
            return (ret);    \
    }

// The address-range checks of debug builds; a release build trusts non-null pointers, as every COM method does.
#define ValidateReadPtr(p, cb) ((void)0)
#define ValidateWritePtr(p, cb) ((void)0)
#define ValidateReadWritePtr(p, cb) ((void)0)
#define ValidateStringPtr(p) ((void)0)
#define ValidateStringPtrA(p) ((void)0)
#define ValidateStringPtrW(p) ((void)0)

/// Name of an object in debugging output; objects of a release build are nameless.
#define NAME(x) (static_cast<LPCTSTR>(nullptr))

#ifndef ASSERT
#define ASSERT(condition) ((void)0)
#endif
#ifndef EXECUTE_ASSERT
#define EXECUTE_ASSERT(condition) ((void)(condition))
#endif
#define DbgLog(message) ((void)0)
#define DbgBreak(message) ((void)0)

#endif
