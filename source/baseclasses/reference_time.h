/// @file
/// Reference times: signed 64-bit counts of 100 ns.

#ifndef ZARNOW_BASECLASSES_REFERENCE_TIME_H
#define ZARNOW_BASECLASSES_REFERENCE_TIME_H

#include "platform.h"

const LONGLONG MILLISECONDS = 1000;
const LONGLONG NANOSECONDS = 1'000'000'000;
const LONGLONG UNITS = NANOSECONDS / 100;

/// The stop time of a segment without an end.
const REFERENCE_TIME MAX_TIME = 0x7FFFFFFFFFFFFFFFLL;

#define MILLISECONDS_TO_100NS_UNITS(lMs) (static_cast<LONGLONG>(lMs) * (UNITS / MILLISECONDS))

/// A reference time with the arithmetic of its 64-bit count.
class CRefTime
{
public:
    REFERENCE_TIME m_time = 0;

    CRefTime() = default;
    CRefTime(LONG msecs) : m_time(MILLISECONDS_TO_100NS_UNITS(msecs)) {}
    CRefTime(REFERENCE_TIME rt) : m_time(rt) {}

    operator REFERENCE_TIME() const { return m_time; }
    CRefTime& operator=(const CRefTime&) = default;
    CRefTime(const CRefTime&) = default;
    CRefTime& operator=(LONGLONG ll)
    {
        m_time = ll;
        return *this;
    }
    CRefTime& operator+=(const CRefTime& other)
    {
        m_time += other.m_time;
        return *this;
    }
    CRefTime& operator-=(const CRefTime& other)
    {
        m_time -= other.m_time;
        return *this;
    }

    /// Whole milliseconds, truncated.
    LONG Millisecs() const { return static_cast<LONG>(m_time / (UNITS / MILLISECONDS)); }
    LONGLONG GetUnits() const { return m_time; }
};

#endif
