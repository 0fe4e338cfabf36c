#pragma once

#include <windows.h>

#include <new>
#include <utility>

/// Runs the body of a COM method; no exception leaves it.
template <typename Body>
HRESULT comBoundary(Body&& body) noexcept
{
    try {
        return std::forward<Body>(body)();
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_UNEXPECTED;
    }
}
